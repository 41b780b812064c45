// Requests to the worker, a line each. Paths lead into /proc/self/cwd, where sample.pdf and, with
// the password "user", locked.pdf lie.

#include "RequestHandler.h"
#include "WorkerFolder.h"

#include <set>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>

using namespace Korvel;

namespace {

namespace fs = std::filesystem;

// What takes a worker seconds, rightly, would keep the fuzzer from everything else.
constexpr double highestResolution = 40;
constexpr double longestSide = 400;

bool StaysInside(const QJsonValue& path)
{
    const QString text = path.toString();
    return !text.startsWith(QLatin1Char('/')) ||
           (text.startsWith(QLatin1String(Fuzz::currentFolder)) &&
            !text.contains(QLatin1String("..")));
}

bool IsQuick(const QJsonObject& request)
{
    const QJsonArray size = request[QStringLiteral("size")].toArray();
    return request[QStringLiteral("resolution")].toDouble(highestResolution) <= highestResolution &&
           size[0].toDouble() <= longestSide && size[1].toDouble() <= longestSide;
}

bool IsTame(const QJsonObject& request)
{
    return StaysInside(request[QStringLiteral("file")]) &&
           StaysInside(request[QStringLiteral("output")]) && IsQuick(request);
}

void RemoveNewFiles(const std::set<fs::path>& kept)
{
    for (const auto& entry : fs::directory_iterator(".")) {
        if (kept.count(entry.path()) == 0)
            fs::remove_all(entry.path());
    }
}

void RequireAnswer(Worker::RequestHandler& requests, const std::string& line)
{
    const QByteArray bytes = QByteArray::fromStdString(line);
    const QJsonObject request = QJsonDocument::fromJson(bytes).object();
    if (!IsTame(request))
        return;
    const QJsonObject answer = requests.Answer(bytes);
    Fuzz::Require(answer[QStringLiteral("ok")].isBool(), "an answer says whether it is well");
    Fuzz::Require(answer[QStringLiteral("id")] == request[QStringLiteral("id")].toDouble(-1),
                  "an answer repeats the number of its request");
    Fuzz::Require(answer[QStringLiteral("ok")].toBool() ||
                      !answer[QStringLiteral("reason")].toString().isEmpty(),
                  "a failure has a reason");
    Fuzz::Require(!QJsonDocument(answer).toJson(QJsonDocument::Compact).contains('\n'),
                  "an answer is one line");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication application(*argc, *argv);
    Fuzz::EnterTempFolder();
    for (const char* name : {"sample.pdf", "locked.pdf"})
        fs::copy_file(fs::path(std::getenv("FUZZ_DOCUMENTS")) / name, name);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        constexpr std::uint64_t largestFile = 16 << 20;
        Worker::RequestHandler requests([](const std::vector<std::string>&) {}, largestFile);
        for (const std::string& line : Fuzz::Lines(Fuzz::Text(data, size)))
            RequireAnswer(requests, line);
    } catch (const std::bad_alloc&) {
        // ends a worker, by its memory limit
    } catch (...) {
        Fuzz::Require(false, "requests throw nothing else");
    }
    RemoveNewFiles({"./sample.pdf", "./locked.pdf"});
    return 0;
}
