#include "PictureMemory.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>

#include <QJsonArray>
#include <QSize>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::PDF {

namespace Key = WorkerProtocol::Key;
using Converter::PagePicture;
using WorkerProtocol::Reason;

namespace {

constexpr qint64 bytesOfBlock = 512;                // whatever the file system has
constexpr qint64 mostBytesOfCopy = 0x7ffff000 - 32; // what one call reads, and a QByteArray holds

/** What the answer says; one that no picture has is not valid. */
QSize SizeOf(const QJsonObject& answer)
{
    return {answer[Key::width].toInt(), answer[Key::height].toInt()};
}

bool IsPossible(const QSize& size)
{
    return !size.isEmpty() && size.width() <= WorkerProtocol::longestSide &&
           size.height() <= WorkerProtocol::longestSide;
}

/** Whether a picture is no larger than what the request wants it to fit into. */
bool Fits(const QSize& size, const QJsonArray& wanted)
{
    const auto fits = [](int side, const QJsonValue& most) {
        return most.toInt() == 0 || side <= most.toInt();
    };
    return fits(size.width(), wanted.at(0)) && fits(size.height(), wanted.at(1));
}

PagePicture::Format FormatOf(const QJsonObject& request)
{
    if (request[Key::gray].toBool() || request.contains(Key::mono))
        return PagePicture::Format::Gray;
    return request[Key::transparent].toBool() ? PagePicture::Format::Transparent
                                              : PagePicture::Format::Color;
}

/** What the answer says; 0 for what is no number of bytes. */
qint64 ToBytes(const QJsonValue& value)
{
    const double bytes = value.toDouble();
    return bytes > 0 && bytes <= double(mostBytesOfCopy) ? qint64(bytes) : 0;
}

} // namespace

PictureMemory::PictureMemory()
    : file(::memfd_create("page of a PDF", MFD_CLOEXEC | MFD_ALLOW_SEALING))
{
}

PictureMemory::~PictureMemory()
{
    if (!picture.IsNull())
        return;
    ::fcntl(file.Number(), F_ADD_SEALS, F_SEAL_GROW);
    (void)::ftruncate(file.Number(), 0);
}

/** Whether nobody can change it any more, whoever has it open; one who has it mapped keeps it so.
 */
bool PictureMemory::Seal() const
{
    constexpr int all = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
    ::fcntl(file.Number(), F_ADD_SEALS, all);
    const int seals = ::fcntl(file.Number(), F_GET_SEALS);
    return seals >= 0 && (seals & all) == all;
}

/** In bytes; -1 where it has holes, for which there may be no memory later. */
qint64 PictureMemory::Size() const
{
    struct stat status = {};
    const bool isWhole =
        ::fstat(file.Number(), &status) == 0 && status.st_blocks * bytesOfBlock >= status.st_size;
    return isWhole ? status.st_size : -1;
}

std::optional<Reason> PictureMemory::Take(const QJsonObject& request, const QJsonObject& answer,
                                          int largest)
{
    const qint64 most = largest > 0 ? qint64(largest) << 20 : std::numeric_limits<qint64>::max();
    return request[Key::format] == QLatin1String(WorkerProtocol::Format::pixels)
               ? TakePixels(request, answer, most)
               : TakeBytes(ToBytes(answer[Key::bytes]), most);
}

/** A copy, which nobody else can change, so that nothing needs to be sealed. */
std::optional<Reason> PictureMemory::TakeBytes(qint64 bytes, qint64 most)
{
    const qint64 size = Size();
    if (size > std::min(most, mostBytesOfCopy))
        return Reason::TooLarge;
    if (bytes <= 0 || bytes > size)
        return Reason::Rubbish;
    try {
        QByteArray copy(int(bytes), Qt::Uninitialized);
        if (::pread(file.Number(), copy.data(), std::size_t(bytes), 0) != bytes)
            return Reason::Rubbish;
        encoded = copy;
    } catch (const std::bad_alloc&) {
        return Reason::OutOfMemory;
    }
    return std::nullopt;
}

std::optional<Reason> PictureMemory::TakePixels(const QJsonObject& request,
                                                const QJsonObject& answer, qint64 most)
{
    const QSize size = SizeOf(answer);
    const PagePicture::Format format = FormatOf(request);
    if (!IsPossible(size) || !Fits(size, request[Key::size].toArray()))
        return Reason::Rubbish;
    const qint64 bytes = size.height() * WorkerProtocol::BytesOfRow(
                                             size.width(), format == PagePicture::Format::Gray);
    if (bytes > most)
        return Reason::TooLarge;
    if (!Seal() || Size() != bytes)
        return Reason::Rubbish;
    void* const pixels =
        ::mmap(nullptr, std::size_t(bytes), PROT_READ, MAP_PRIVATE, file.Number(), 0);
    if (pixels == MAP_FAILED)
        return Reason::OutOfMemory;
    const auto unmap = [bytes](const uchar* mapped) {
        ::munmap(const_cast<uchar*>(mapped), std::size_t(bytes));
    };
    picture = PagePicture(size.width(), size.height(), format,
                          std::shared_ptr<const uchar>(static_cast<const uchar*>(pixels), unmap));
    return std::nullopt;
}

} // namespace Korvel::PDF
