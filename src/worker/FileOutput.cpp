#include "FileOutput.h"

#include "RequestError.h"
#include "WriteAll.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

namespace Korvel::Worker {

namespace {

constexpr std::size_t bufferSize = 4 << 20; // of which only what is used is ever touched

} // namespace

FileOutput::FileOutput(std::uint64_t largest) : largest(largest), buffer(new char[bufferSize]) {}

void FileOutput::Write(const char* data, std::size_t size)
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

void FileOutput::WriteAt(std::uint64_t place, const char* data, std::size_t size)
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
    MoveTo(place);
    Put(data, size);
    MoveTo(flushed);
}

void FileOutput::Clear()
{
    gathered = 0;
    flushed = 0;
    largestEnd = 0;
    BeginAnew();
}

std::uint64_t FileOutput::Complete()
{
    // An earlier failure counts even if somebody on the way has taken it for harmless.
    RequireRoomFor(largestEnd);
    if (hasFailed)
        throw RequestError(Reason::CannotWrite, "something was not written");
    Flush();
    if (Size() == 0)
        throw RequestError(Reason::CannotWrite, "nothing was written");
    return largestEnd;
}

void FileOutput::RequireRoomFor(std::uint64_t end)
{
    largestEnd = std::max(largestEnd, end);
    if (largestEnd > largest)
        throw RequestError(Reason::TooLarge, "the file would be larger than is allowed");
}

void FileOutput::Flush()
{
    Put(buffer.get(), gathered);
    flushed += std::exchange(gathered, 0);
}

void FileOutput::Put(const char* data, std::size_t size)
{
    if (size > 0 && !WriteAll(File(), data, size))
        Fail();
}

void FileOutput::MoveTo(std::uint64_t place)
{
    if (::lseek(File(), off_t(place), SEEK_SET) < 0)
        Fail();
}

void FileOutput::Fail()
{
    const int error = errno;
    hasFailed = true;
    throw RequestError(Reason::CannotWrite, std::strerror(error));
}

} // namespace Korvel::Worker
