#include "FileTestTools.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <QLoggingCategory>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Korvel::PDF::Test {

namespace {

std::mutex messagesMutex;
std::vector<std::string> messages;
QtMessageHandler handlerBefore = nullptr;

void Collect(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (QLatin1String(context.category) != QLatin1String("korvel.services"))
        return handlerBefore(type, context, text);
    const std::lock_guard lock(messagesMutex);
    messages.push_back(text.toStdString());
}

int RunAsProcess(const std::function<int()>& work)
{
    try {
        return work();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "in a forked process: %s\n", error.what());
        return 255;
    }
}

} // namespace

void WriteFile(const std::string& path, const std::string& content)
{
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

std::string ReadFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

mode_t ModeOf(const std::string& path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

dev_t VolumeOf(const std::string& path)
{
    struct stat status = {};
    ::stat(path.c_str(), &status);
    return status.st_dev;
}

bool IsAnything(const std::string& path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::set<std::string> NamesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().native());
    return names;
}

bool IsRoot()
{
    return ::geteuid() == 0;
}

Umask::Umask(mode_t mask) : before(::umask(mask)) {}

Umask::~Umask()
{
    ::umask(before);
}

WorkingFolder::WorkingFolder(const std::string& folder)
    : before(std::filesystem::current_path().native())
{
    std::filesystem::current_path(folder);
}

WorkingFolder::~WorkingFolder()
{
    std::error_code ignored;
    std::filesystem::current_path(before, ignored);
}

ForkedProcess::ForkedProcess(const std::function<int()>& work) : pid(::fork())
{
    if (pid < 0)
        throw std::runtime_error("cannot fork");
    if (pid == 0)
        ::_exit(RunAsProcess(work));
}

ForkedProcess::~ForkedProcess()
{
    Kill();
}

int ForkedProcess::Wait()
{
    int status = 0;
    ::waitpid(std::exchange(pid, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ForkedProcess::Kill()
{
    if (pid < 0)
        return;
    ::kill(pid, SIGKILL);
    Wait();
}

Pipe::Pipe()
{
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot make a pipe");
}

Pipe::~Pipe()
{
    ::close(ends[0]);
    CloseWritingEnd();
}

void Pipe::WriteLine(const std::string& line) const
{
    const std::string text = line + "\n";
    if (::write(ends[1], text.data(), text.size()) != ssize_t(text.size()))
        throw std::runtime_error("cannot write into a pipe");
}

std::string Pipe::ReadLine() const
{
    std::string line;
    for (char c = 0; ::read(ends[0], &c, 1) == 1 && c != '\n';)
        line += c;
    return line;
}

void Pipe::CloseWritingEnd()
{
    if (ends[1] >= 0)
        ::close(std::exchange(ends[1], -1));
}

void Pipe::BecomeInput() const
{
    ::dup2(ends[0], STDIN_FILENO);
}

void Pipe::BecomeOutput() const
{
    ::dup2(ends[1], STDOUT_FILENO);
}

void Pipe::WaitForEnd()
{
    CloseWritingEnd();
    while (!ReadLine().empty()) {
    }
}

ServicesMessages::ServicesMessages()
{
    messages.clear();
    handlerBefore = qInstallMessageHandler(Collect);
}

ServicesMessages::~ServicesMessages()
{
    qInstallMessageHandler(handlerBefore);
}

std::vector<std::string> ServicesMessages::Texts() const
{
    const std::lock_guard lock(messagesMutex);
    return messages;
}

} // namespace Korvel::PDF::Test
