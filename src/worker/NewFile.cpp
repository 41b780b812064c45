#include "NewFile.h"

#include "PathText.h"
#include "RequestError.h"
#include "WriteAll.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bufferSize = 4 << 20; // of which only what is used is ever touched

[[noreturn]] void FailToWrite(int error)
{
    throw RequestError(Reason::CannotWrite, std::strerror(error));
}

} // namespace

NewFile::NewFile(const std::string& path, mode_t mode, std::uint64_t largest)
    : path(path), mode(mode), largest(largest), buffer(new char[bufferSize])
{
}

NewFile::~NewFile()
{
    Remove();
}

void NewFile::Write(const char* data, std::size_t size)
{
    RequireRoomFor(Size() + size);
    if (size > bufferSize - gathered)
        Flush();
    if (size > bufferSize) {
        Put(data, size);
        flushed += size;
        return;
    }
    std::memcpy(buffer.get() + gathered, data, size);
    gathered += size;
}

void NewFile::WriteAt(std::uint64_t place, const char* data, std::size_t size)
{
    if (place == Size()) {
        Write(data, size);
        return;
    }
    if (place >= flushed && place + size <= Size()) {
        std::memcpy(buffer.get() + (place - flushed), data, size);
        return;
    }
    RequireRoomFor(place + size);
    Flush();
    if (!file)
        Make();
    MoveTo(place);
    Put(data, size);
    MoveTo(flushed);
}

void NewFile::Clear()
{
    gathered = 0;
    flushed = 0;
    Remove(); // as the sandbox lets no file be shortened
}

void NewFile::Keep()
{
    // An earlier failure counts even if somebody on the way has taken it for harmless.
    RequireRoomFor(largestEnd);
    if (hasFailed)
        throw RequestError(Reason::CannotWrite, "something was not written");
    Flush();
    if (Size() == 0)
        throw RequestError(Reason::CannotWrite, "nothing was written");
    const int number = file->Release();
    if (::close(number) != 0)
        Fail();
    file.reset();
    unfinished = nullptr;
}

void NewFile::RequireRoomFor(std::uint64_t end)
{
    largestEnd = std::max(largestEnd, end);
    if (largestEnd > largest)
        throw RequestError(Reason::TooLarge, "the file would be larger than is allowed");
}

void NewFile::Make()
{
    if (HoldsNul(path))
        throw RequestError(Reason::CannotWrite, "the path holds a NUL");
    const int number =
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, mode);
    if (number < 0)
        Fail();
    file = std::make_unique<PDF::FileDescriptor>(number);
    unfinished = path.c_str();
}

void NewFile::Remove()
{
    if (std::exchange(file, nullptr))
        ::unlink(std::exchange(unfinished, nullptr));
}

void NewFile::Flush()
{
    Put(buffer.get(), gathered);
    flushed += std::exchange(gathered, 0);
}

void NewFile::Put(const char* data, std::size_t size)
{
    if (size == 0)
        return;
    if (!file)
        Make();
    if (!WriteAll(file->Number(), data, size))
        Fail();
}

void NewFile::MoveTo(std::uint64_t place)
{
    if (::lseek(file->Number(), off_t(place), SEEK_SET) < 0)
        Fail();
}

void NewFile::Fail()
{
    const int error = errno;
    hasFailed = true;
    FailToWrite(error);
}

} // namespace Korvel::Worker
