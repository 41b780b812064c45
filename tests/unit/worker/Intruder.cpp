// What a document could try that has taken its worker over: enters the worker's sandbox, tries one
// thing, and prints "done", or the name of the error.
//
//     Intruder inside|pool|alone|channel|outside FOLDER INPUT ATTEMPT [PATH or NUMBER]
//
// "pool" tries it on the thread of Qt's pool, "alone" in the sandbox of an engine that uses no such
// thread, "channel" in that of one that is given memory by the descriptor 20, "outside" without any
// sandbox.

#include "Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QThreadPool>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/** The error of a system call that answers -1. */
int Error(long answer)
{
    return answer == -1 ? errno : 0;
}

int OpenAndDo(const std::string& path, int flags, const std::function<long(int file)>& action)
{
    const int file = ::open(path.c_str(), flags, 0600);
    return file < 0 ? errno : Error(action(file));
}

int Read(const std::string& path)
{
    return OpenAndDo(path, O_RDONLY, [](int file) {
        char byte = 0;
        return ::read(file, &byte, 1);
    });
}

int Write(const std::string& path, int flags)
{
    return OpenAndDo(path, O_WRONLY | flags, [](int file) { return ::write(file, "x", 1); });
}

int List(const std::string& path)
{
    DIR* const folder = ::opendir(path.c_str());
    return folder && ::readdir(folder) ? 0 : errno;
}

int Fork()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    return child < 0 ? errno : Error(::waitpid(child, nullptr, 0));
}

int StartThread()
{
    try {
        std::thread([] {}).join();
        return 0;
    } catch (const std::system_error& error) {
        return error.code().value();
    }
}

int Spawn()
{
    pid_t child = 0;
    char name[] = "true";
    char* arguments[] = {name, nullptr};
    const int error = ::posix_spawn(&child, "/bin/true", nullptr, nullptr, arguments, nullptr);
    return error ? error : Error(::waitpid(child, nullptr, 0));
}

int Execute()
{
    char name[] = "echo";
    char done[] = "done";
    char* arguments[] = {name, done, nullptr};
    return Error(::execv("/bin/echo", arguments)); // prints it itself
}

int ReadMemoryOfParent()
{
    char byte = 0;
    const iovec here = {&byte, 1};
    const iovec there = {nullptr, 1}; // there is nothing, which is told to who may look
    return Error(::process_vm_readv(::getppid(), &here, 1, &there, 1, 0));
}

int MapCode()
{
    const auto size = std::size_t(::sysconf(_SC_PAGESIZE));
    void* const code =
        ::mmap(nullptr, size, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return code == MAP_FAILED ? errno : 0;
}

int MakeMemoryCode()
{
    const auto size = std::size_t(::sysconf(_SC_PAGESIZE));
    void* const memory =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return Error(::mprotect(memory, size, PROT_READ | PROT_EXEC));
}

int RaiseLimit(__rlimit_resource_t limit)
{
    const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
    return Error(::setrlimit(limit, &none));
}

/** As the memory of another process would be, too. */
int LimitParent()
{
    rlimit limit = {};
    return Error(::prlimit(::getppid(), RLIMIT_CPU, nullptr, &limit));
}

int WriteBeyond(const std::string& path)
{
    return OpenAndDo(path, O_WRONLY | O_CREAT, [](int file) {
        ::lseek(file, off_t(11) << 30, SEEK_SET);
        return ::write(file, "x", 1);
    });
}

int OpenManyTimes(const std::string& path)
{
    std::vector<int> files;
    int error = 0;
    while (error == 0 && files.size() < 100) {
        files.push_back(::open(path.c_str(), O_RDONLY));
        error = Error(files.back());
    }
    for (const int file : files)
        ::close(file);
    return error;
}

struct alignas(64) Aligned
{
    char bytes[64];
};

/** Only memory that is used is sure not to be optimised away. */
int Use(void* memory)
{
    static void* volatile used = nullptr;
    used = memory;
    return used ? 0 : ENOMEM;
}

using Attempt = std::function<int(const std::string& argument)>;

const std::map<std::string, Attempt>& Attempts()
{
    // Were it a constant, Clang would make all of these objects while it compiles.
    static const volatile std::size_t muchMemory = std::size_t(2) << 30;
    static const std::map<std::string, Attempt> attempts{
        {"read", Read},
        {"list", List},
        {"write",
         [](const std::string& path) {
             return Write(path, 0);
         }},
        {"make",
         [](const std::string& path) {
             return Write(path, O_CREAT | O_EXCL);
         }},
        {"make-executable",
         [](const std::string& path) {
             return Error(::openat(AT_FDCWD, path.c_str(), O_CREAT | O_WRONLY, 0711));
         }},
        {"make-set-user-id",
         [](const std::string& path) {
             return Error(::openat(AT_FDCWD, path.c_str(), O_CREAT | O_WRONLY, 04600));
         }},
        {"make-executable-by-old-call",
         [](const std::string& path) {
             return Error(::syscall(SYS_open, path.c_str(), O_CREAT | O_WRONLY, 0711));
         }},
        {"remove",
         [](const std::string& path) {
             return Error(::unlink(path.c_str()));
         }},
        {"make-folder",
         [](const std::string& path) {
             return Error(::mkdir(path.c_str(), 0700));
         }},
        {"truncate",
         [](const std::string& path) {
             return Error(::truncate(path.c_str(), 0));
         }},
        {"chmod",
         [](const std::string& path) {
             return Error(::chmod(path.c_str(), 0777));
         }},
        {"rename",
         [](const std::string& path) {
             return Error(::rename(path.c_str(), (path + ".renamed").c_str()));
         }},
        {"link",
         [](const std::string& path) {
             return Error(::link(path.c_str(), (path + ".link").c_str()));
         }},
        {"symlink",
         [](const std::string& path) {
             return Error(::symlink("/etc/passwd", path.c_str()));
         }},
        {"write-beyond", WriteBeyond},
        {"open-many-times", OpenManyTimes},
        {"fork",
         [](const std::string&) {
             return Fork();
         }},
        {"thread",
         [](const std::string&) {
             return StartThread();
         }},
        {"spawn",
         [](const std::string&) {
             return Spawn();
         }},
        {"execute",
         [](const std::string&) {
             return Execute();
         }},
        {"socket",
         [](const std::string& family) {
             return Error(::socket(std::stoi(family), SOCK_STREAM | SOCK_CLOEXEC, 0));
         }},
        {"receive",
         [](const std::string& number) {
             msghdr message = {};
             return Error(::recvmsg(std::stoi(number), &message, 0));
         }},
        {"trace-parent",
         [](const std::string&) {
             return Error(::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr));
         }},
        {"read-memory-of-parent",
         [](const std::string&) {
             return ReadMemoryOfParent();
         }},
        // The signal 0 is none, but whoever may send it may send any.
        {"kill-parent",
         [](const std::string&) {
             return Error(::kill(::getppid(), 0));
         }},
        {"kill-thread-of-parent",
         [](const std::string&) {
             return Error(::syscall(SYS_tgkill, ::getppid(), ::getppid(), 0));
         }},
        {"have-parent-signalled",
         [](const std::string&) {
             return Error(::fcntl(STDOUT_FILENO, F_SETOWN, ::getppid()));
         }},
        {"map-code",
         [](const std::string&) {
             return MapCode();
         }},
        {"make-memory-code",
         [](const std::string&) {
             return MakeMemoryCode();
         }},
        {"limit-parent",
         [](const std::string&) {
             return LimitParent();
         }},
        {"raise-limit",
         [](const std::string& limit) {
             return RaiseLimit(__rlimit_resource_t(std::stoi(limit)));
         }},
        {"allocate",
         [](const std::string&) {
             return Use(std::malloc(muchMemory));
         }},
        {"new",
         [](const std::string&) {
             return Use(new char[muchMemory]);
         }},
        {"new-aligned",
         [](const std::string&) {
             return Use(new Aligned[muchMemory / sizeof(Aligned)]);
         }},
        {"abort",
         [](const std::string&) -> int {
             std::abort();
         }},
        {"run-for-ever",
         [](const std::string&) -> int {
             while (true)
                 Use(&errno);
         }},
        {"call", [](const std::string& number) {
             return Error(::syscall(std::stol(number), 0, 0, 0, 0, 0, 0));
         }}};
    return attempts;
}

int OnThreadOfPool(const std::function<int()>& attempt)
{
    std::promise<int> error;
    QThreadPool::globalInstance()->start([&] { error.set_value(attempt()); });
    return error.get_future().get();
}

} // namespace

int main(int argc, char** argv)
{
    using namespace Korvel::Worker;
    const QCoreApplication application(argc, argv);
    if (argc < 5)
        return 2;
    const std::string where = argv[1];
    const std::string argument = argc > 5 ? argv[5] : "";
    const auto attempt = [&] {
        return Attempts().at(argv[4])(argument);
    };
    if (where != "outside") {
        SandboxSettings settings;
        settings.folder = argv[2];
        settings.timeLimit = 1;
        settings.hasThreadOfPool = where != "alone";
        settings.memoryChannel = where == "channel" ? 20 : -1;
        Sandbox sandbox(settings);
        sandbox.SetLimits();
        sandbox.Enter({argv[3]});
    }
    const int error = where == "pool" ? OnThreadOfPool(attempt) : attempt();
    std::puts(error == 0 ? "done" : ::strerrorname_np(error));
    std::fflush(stdout);
    ::_exit(0); // whatever the attempt has left behind
}
