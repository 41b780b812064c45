#include "PictureMemory.h"

#include <cstddef>
#include <memory>

#include <QJsonArray>
#include <QSize>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace Korvel::PDF {

namespace Key = WorkerProtocol::Key;
using Converter::PagePicture;
using WorkerProtocol::Reason;

namespace {

constexpr qint64 bytesOfBlock = 512; // whatever the file system has

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

/** Whether it is as large as that, and has no holes, for which there may be no memory later. */
bool PictureMemory::Holds(qint64 bytes) const
{
    struct stat status = {};
    return ::fstat(file.Number(), &status) == 0 && status.st_size == bytes &&
           status.st_blocks * bytesOfBlock >= bytes;
}

std::optional<Reason> PictureMemory::Take(const QJsonObject& request, const QJsonObject& answer,
                                          int largest)
{
    const QSize size = SizeOf(answer);
    const PagePicture::Format format = FormatOf(request);
    if (!IsPossible(size) || !Fits(size, request[Key::size].toArray()))
        return Reason::Rubbish;
    const qint64 bytes = size.height() * WorkerProtocol::BytesOfRow(
                                             size.width(), format == PagePicture::Format::Gray);
    if (largest > 0 && bytes > qint64(largest) << 20)
        return Reason::TooLarge;
    if (!Seal() || !Holds(bytes))
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
