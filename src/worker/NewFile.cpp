#include "NewFile.h"

#include "PathText.h"
#include "RequestError.h"

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace Korvel::Worker {

NewFile::NewFile(const std::string& path, mode_t mode, std::uint64_t largest)
    : FileOutput(largest), path(path), mode(mode)
{
}

NewFile::~NewFile()
{
    Remove();
}

void NewFile::Keep()
{
    Complete();
    const int number = file->Release();
    if (::close(number) != 0)
        Fail();
    file.reset();
    unfinished = nullptr;
}

int NewFile::File()
{
    if (!file)
        Make();
    return file->Number();
}

void NewFile::BeginAnew()
{
    Remove(); // as the sandbox lets no file be shortened
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

} // namespace Korvel::Worker
