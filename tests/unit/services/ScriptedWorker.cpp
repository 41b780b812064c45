// A stand-in for pdfconvert-worker that behaves, and misbehaves, as each request tells it to, in a
// child for each document.
//
// What to do is the request's member "do", or else the name of its "file" up to the first dot: so
// the file name alone tells it through services that make the requests themselves.

#include "ForkServer.h"
#include "GivenMemory.h"
#include "NotStarted.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <string>

#include <QByteArray>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace PDF = Korvel::PDF;

constexpr int outOfMemoryExitCode = 77;
constexpr int unconfinedExitCode = 80;

using Action = std::function<void(const QJsonObject& request)>;

int served = 0;
int memoryChannel = -1;

void Write(const QByteArray& text)
{
    std::cout.write(text.constData(), text.size()).flush();
}

QByteArray Line(const QJsonObject& answer)
{
    return QJsonDocument(answer).toJson(QJsonDocument::Compact) + '\n';
}

void WriteLine(const QJsonObject& answer)
{
    Write(Line(answer));
}

/** What /proc tells of this process under `name`, its parts separated by blanks. */
QString OfThisProcess(const std::string& name)
{
    std::ifstream file("/proc/self/" + name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    for (char& c : text)
        c = c == '\0' ? ' ' : c;
    return QString::fromStdString(text);
}

/** Where the request wants a result; empty where it wants none. */
std::string ResultOf(const QJsonObject& request)
{
    if (request["op"] == "save")
        return request["file"].toString().toStdString();
    return request["op"] == "convert" ? request["output"].toString().toStdString() : std::string();
}

/** Makes place for a result, whatever is there. */
std::string ClearedResultOf(const QJsonObject& request)
{
    const std::filesystem::path path = ResultOf(request);
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), ignored);
    std::filesystem::remove_all(path, ignored);
    return path.native();
}

void MakeResult(const QJsonObject& request)
{
    if (const std::string path = ResultOf(request); !path.empty())
        std::ofstream(ClearedResultOf(request)) << "result";
}

/** A success that tells of the worker, too: its process, its count of requests, what it got. */
QJsonObject Success(const QJsonObject& request)
{
    return {{"id", request["id"]},
            {"ok", true},
            {"pid", int(::getpid())},
            {"served", served},
            {"request", request},
            {"cmdline", OfThisProcess("cmdline")},
            {"environ", OfThisProcess("environ")},
            {"pages", 3},
            {"encrypted", true},
            {"repaired", true},
            {"version", "1.7"},
            {"properties", QJsonObject{{"Title", "Scripted"}, {"Author", "Nobody"}}}};
}

QJsonObject Failure(const QJsonObject& request, const QString& reason)
{
    return {{"id", request["id"]},
            {"ok", false},
            {"reason", reason},
            {"message", "told to fail with " + reason}};
}

/** Writes what it got into the file "record.json", for requests whose answer nobody sees. */
void Record(const QJsonObject& request)
{
    const QString folder = QFileInfo(request["file"].toString()).path();
    MakeResult(request);
    std::ofstream((folder + "/record.json").toStdString())
        << QJsonDocument(Success(request)).toJson().toStdString();
    WriteLine(Success(request));
}

/** Makes a text of pages, which are their numbers, and dies of page 7. */
void ReadPagesButTheSeventh(const QJsonObject& request)
{
    std::ofstream text(ClearedResultOf(request));
    for (const QJsonValue page : request["pages"].toArray()) {
        if (page.toInt() == 7)
            ::raise(SIGKILL);
        text << page.toInt() << '\f';
    }
    text.close();
    WriteLine(Success(request));
}

/** Opens for the password "secret" alone. */
void AskForSecret(const QJsonObject& request)
{
    const QByteArray password = QByteArray::fromBase64(request["password"].toString().toLatin1());
    if (password == "secret")
        WriteLine(Success(request));
    else
        WriteLine(Failure(request, password.isEmpty() ? "no-password" : "wrong-password"));
}

/** Says that it has made the result, and makes this in its place. */
Action Make(const std::function<void(const std::string& path)>& make)
{
    return [make](const QJsonObject& request) {
        make(ClearedResultOf(request));
        WriteLine(Success(request));
    };
}

PDF::FileDescriptor MemoryOf(const QJsonObject& request)
{
    return Korvel::Worker::TakeMemory(memoryChannel, qint64(request["id"].toDouble()));
}

constexpr std::size_t wholePicture = 48;

/** A success that tells of a picture, whether pixels were wanted or bytes. */
QJsonObject Drawn(const QJsonObject& request, const QJsonValue& width, const QJsonValue& height,
                  const QJsonValue& bytes = qint64(wholePicture))
{
    QJsonObject answer = Success(request);
    answer["width"] = width;
    answer["height"] = height;
    answer["bytes"] = bytes;
    return answer;
}

/**
 * Does something to the memory, says that it has drawn 4 by 3 pixels, which are 48 bytes, and does
 * something more.
 */
Action Draw(
    const std::function<void(int memory)>& draw,
    const std::function<void(int memory)>& afterwards = [](int) {})
{
    return [draw, afterwards](const QJsonObject& request) {
        const PDF::FileDescriptor memory = MemoryOf(request);
        draw(memory.Number());
        WriteLine(Drawn(request, 4, 3));
        afterwards(memory.Number());
    };
}

void Fill(int memory, std::size_t bytes)
{
    const std::string pixels(bytes, '\x5a');
    if (::write(memory, pixels.data(), pixels.size()) != ssize_t(pixels.size()))
        ::_exit(1);
}

void DrawWhole(int memory)
{
    Fill(memory, wholePicture);
}

/** Until the application has measured the picture, and is about to look at it. */
void WaitForSeals(int memory)
{
    while (::fcntl(memory, F_GET_SEALS) == 0)
        ::usleep(100);
}

QJsonValue ToValue(const QString& text)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber ? QJsonValue(number) : QJsonValue(text);
}

/** Draws as many pixels and says other numbers, which stand in the words of the request. */
void DrawAs(const QJsonObject& request, const QString& numbers)
{
    const int middle = int(numbers.indexOf('-', 1));
    DrawWhole(MemoryOf(request).Number());
    WriteLine(Drawn(request, ToValue(numbers.left(middle)), ToValue(numbers.mid(middle + 1))));
}

/** Draws as many pixels, and says that there are so many bytes. */
void DrawBytesAs(const QJsonObject& request, const QString& bytes)
{
    DrawWhole(MemoryOf(request).Number());
    WriteLine(Drawn(request, 4, 3, ToValue(bytes)));
}

void FallSilent()
{
    while (true)
        ::pause();
}

QJsonObject WithId(QJsonObject answer, const QJsonValue& id)
{
    answer["id"] = id;
    return answer;
}

QJsonObject WithPages(QJsonObject answer, double pages)
{
    answer["pages"] = pages;
    return answer;
}

void WriteForever(const QByteArray& text)
{
    while (true)
        Write(text);
}

void WriteSlowly(const QByteArray& text)
{
    for (const char byte : text) {
        Write(QByteArray(1, byte));
        ::usleep(10'000);
    }
}

/** Leaves a child behind that holds the output open and is noisy when its parent has gone. */
void ForkNoise()
{
    const pid_t parent = ::getpid();
    if (::fork() > 0)
        return;
    while (::getppid() == parent)
        ::usleep(1000);
    std::cerr << "late noise" << std::endl;
    ::_exit(0);
}

const std::map<QString, Action>& Actions()
{
    static const std::map<QString, Action> actions{
        {"record", Record},
        {"ask-for-secret", AskForSecret},
        {"read-pages-but-the-seventh", ReadPagesButTheSeventh},
        {"die",
         [](const QJsonObject&) {
             ::_exit(3);
         }},
        {"crash",
         [](const QJsonObject&) {
             const rlimit noCore = {0, 0};
             ::setrlimit(RLIMIT_CORE, &noCore);
             std::signal(SIGSEGV, SIG_DFL); // sanitizers end by an exit code
             ::raise(SIGSEGV);
         }},
        {"run-out-of-memory",
         [](const QJsonObject&) {
             ::_exit(outOfMemoryExitCode);
         }},
        {"say-unconfined",
         [](const QJsonObject&) {
             ::_exit(unconfinedExitCode);
         }},
        {"run-out-of-time",
         [](const QJsonObject&) {
             ::raise(SIGXCPU);
         }},
        {"wear-out",
         [](const QJsonObject& request) {
             QJsonObject answer = Success(request);
             answer["worn"] = true;
             WriteLine(answer);
         }},
        {"answer-and-die",
         [](const QJsonObject& request) {
             WriteLine(Success(request));
             ::_exit(3);
         }},
        {"no-json",
         [](const QJsonObject&) {
             Write("I am no JSON\n");
         }},
        {"empty-line",
         [](const QJsonObject&) {
             Write("\n");
         }},
        {"array",
         [](const QJsonObject&) {
             Write("[1, 2]\n");
         }},
        {"wrong-id",
         [](const QJsonObject& request) {
             WriteLine(WithId(Success(request), 4711));
         }},
        {"text-as-id",
         [](const QJsonObject& request) {
             WriteLine(WithId(Success(request), QString::number(request["id"].toInt())));
         }},
        {"id-of-next",
         [](const QJsonObject& request) {
             WriteLine(WithId(Success(request), request["id"].toInt() + 1));
         }},
        {"no-id",
         [](const QJsonObject&) {
             Write("{\"ok\":true}\n");
         }},
        {"no-ok",
         [](const QJsonObject& request) {
             WriteLine({{"id", request["id"]}});
         }},
        {"text-as-ok",
         [](const QJsonObject& request) {
             WriteLine({{"id", request["id"]}, {"ok", "true"}});
         }},
        {"two-answers",
         [](const QJsonObject& request) {
             WriteLine(Success(request));
             WriteLine(Success(request));
         }},
        {"answer-ahead",
         [](const QJsonObject& request) {
             WriteLine(Success(request));
             for (int id = request["id"].toInt() + 1; id < 10; ++id)
                 WriteLine(WithId({{"ok", true}, {"forged", true}}, id));
             Write("{\"id\":");
             FallSilent();
         }},
        {"half-an-answer",
         [](const QJsonObject&) {
             Write("{\"id\":");
         }},
        {"half-an-answer-and-die",
         [](const QJsonObject&) {
             Write("{\"id\":");
             ::_exit(3);
         }},
        {"endless-line",
         [](const QJsonObject&) {
             WriteForever(QByteArray(65536, 'x'));
         }},
        {"endless-lines",
         [](const QJsonObject&) {
             WriteForever("{}\n");
         }},
        {"fall-silent",
         [](const QJsonObject&) {
             FallSilent();
         }},
        {"ignore-sigterm",
         [](const QJsonObject&) {
             std::signal(SIGTERM, SIG_IGN);
             FallSilent();
         }},
        {"close-output",
         [](const QJsonObject&) {
             ::close(STDOUT_FILENO);
             FallSilent();
         }},
        {"close-input",
         [](const QJsonObject& request) {
             ::close(STDIN_FILENO);
             WriteLine(Success(request));
             FallSilent();
         }},
        {"complain",
         [](const QJsonObject& request) {
             std::cerr << std::string(1 << 20, 'e') << std::endl;
             WriteLine(Success(request));
         }},
        {"answer-slowly",
         [](const QJsonObject& request) {
             WriteSlowly(Line({{"id", request["id"]}, {"ok", true}}));
         }},
        {"make-nothing", Make([](const std::string&) {})},
        {"make-empty", Make([](const std::string& path) { std::ofstream file(path); })},
        {"make-folder", Make([](const std::string& path) { ::mkdir(path.c_str(), 0700); })},
        {"make-link",
         Make([](const std::string& path) { ::symlink("/etc/passwd", path.c_str()); })},
        {"make-pipe", Make([](const std::string& path) { ::mkfifo(path.c_str(), 0600); })},
        {"make-set-user-id", Make([](const std::string& path) {
             std::ofstream(path).put('x');
             ::chmod(path.c_str(), 04644);
         })},
        {"make-sparse", Make([](const std::string& path) {
             std::ofstream(path).put('x');
             ::truncate(path.c_str(), (off_t(1) << 20) + 1);
         })},
        {"make-large", Make([](const std::string& path) {
             const int file = ::open(path.c_str(), O_CREAT | O_WRONLY, 0600);
             ::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, off_t(2) << 20);
             ::dprintf(file, "x");
         })},
        {"draw", Draw(DrawWhole)},
        {"draw-nothing", Draw([](int) {})},
        {"draw-too-little", Draw([](int memory) { Fill(memory, wholePicture - 1); })},
        {"draw-too-much", Draw([](int memory) { Fill(memory, wholePicture + 1); })},
        {"draw-holes", Draw([](int memory) { ::ftruncate(memory, off_t(wholePicture)); })},
        {"draw-and-keep-mapped", Draw([](int memory) {
             DrawWhole(memory);
             ::mmap(nullptr, wholePicture, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
         })},
        {"draw-and-seal", Draw([](int memory) {
             DrawWhole(memory);
             ::fcntl(memory, F_ADD_SEALS, F_SEAL_SEAL);
         })},
        {"draw-and-shrink", Draw(DrawWhole,
                                 [](int memory) {
                                     WaitForSeals(memory);
                                     (void)::ftruncate(memory, 0);
                                 })},
        {"draw-much", Draw([](int memory) { Fill(memory, (1 << 20) + 1); })},
        {"draw-and-keep-writing", Draw(DrawWhole,
                                       [](int memory) {
                                           for (char byte = 'A';; byte = char(byte ^ 1))
                                               (void)::pwrite(memory, &byte, 1, 0);
                                       })},
        {"draw-and-write", Draw(DrawWhole,
                                [](int memory) {
                                    WaitForSeals(memory);
                                    (void)::pwrite(memory, "Y", 1, 0);
                                })},
        {"fork-noise",
         [](const QJsonObject& request) {
             ForkNoise();
             WriteLine(Success(request));
         }},
        {"fork-noise-and-die", [](const QJsonObject&) {
             ForkNoise();
             ::_exit(3);
         }}};
    return actions;
}

bool Exists(const QString& path)
{
    return ::access(path.toUtf8().constData(), F_OK) == 0;
}

/** Tells by a file in the request's folder "meet" that it came, and waits there for the answer. */
void Meet(const QString& folder)
{
    std::ofstream((folder + "/received").toStdString());
    while (!Exists(folder + "/go"))
        ::usleep(1000);
}

/** Whether this process is one of as many as the folder "room" has files, if it has any room. */
bool HasRoom(const std::filesystem::path& folder)
{
    std::error_code ignored;
    const std::filesystem::path room = folder / "room";
    if (!std::filesystem::exists(room, ignored))
        return true;
    for (const auto& place : std::filesystem::directory_iterator(room, ignored)) {
        if (std::filesystem::remove(place.path(), ignored))
            return true;
    }
    return false;
}

QString WhatToDo(const QJsonObject& request)
{
    const QString told = request["do"].toString();
    return told.isEmpty() ? QFileInfo(request["file"].toString()).baseName() : told;
}

void Serve(const QJsonObject& request)
{
    const QString what = WhatToDo(request);
    const QString fail = "fail-with-";
    const QString count = "count-pages-";
    const QString drawAs = "draw-as-";
    const QString drawBytesAs = "draw-bytes-as-";
    ++served;
    if (request.contains("meet"))
        Meet(request["meet"].toString());
    MakeResult(request);
    if (const auto action = Actions().find(what); action != Actions().end())
        action->second(request);
    else if (what.startsWith(fail))
        WriteLine(Failure(request, what.mid(fail.size())));
    else if (what.startsWith(drawAs))
        DrawAs(request, what.mid(drawAs.size()));
    else if (what.startsWith(drawBytesAs))
        DrawBytesAs(request, what.mid(drawBytesAs.size()));
    else if (what.startsWith(count))
        WriteLine(WithPages(Success(request), what.mid(count.size()).toDouble()));
    else
        WriteLine(Success(request));
}

} // namespace

int main(int argc, char** argv)
{
    memoryChannel = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int answers = Korvel::Worker::ForkForEachDocument(memoryChannel);
    ::dup2(answers, STDOUT_FILENO);
    ::close(answers);
    for (int i = 1; i + 1 < argc; ++i) {
        if (argv[i] == std::string("--folder") && !HasRoom(argv[i + 1]))
            Korvel::Worker::EndAsNotStarted("no room");
    }
    for (std::string line; std::getline(std::cin, line);)
        Serve(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
    return 0;
}
