#pragma once

#include <cstddef>
#include <optional>

#include <QJsonObject>
#include <QString>

/**
 * What the library and `pdfconvert-worker` say to each other; docs/worker-protocol.md tells what it
 * means. Both include this header, so no word, bound or default of the protocol stands twice.
 */
namespace Korvel::WorkerProtocol {

/** The options on the worker's command line. */
namespace Argument {
inline constexpr char memoryLimit[] = "--memory-limit";
inline constexpr char timeLimit[] = "--time-limit";
inline constexpr char fileLimit[] = "--file-limit";
inline constexpr char folder[] = "--folder";
inline constexpr char requireSandbox[] = "--require-sandbox";
inline constexpr char engine[] = "--engine";
inline constexpr char pdfium[] = "--pdfium";
} // namespace Argument

/** The descriptors of a worker that is ordered, in the order in which they are sent. */
namespace Given {
/** A stream socket: requests come over it, and answers go. */
inline constexpr std::size_t lines = 0;
/** Its standard error. */
inline constexpr std::size_t complaints = 1;
/** A socket that keeps messages apart, over which memory for pictures comes. */
inline constexpr std::size_t memory = 2;
/** Another one, which tells how it has ended, and by whose end it is ended. */
inline constexpr std::size_t control = 3;
inline constexpr std::size_t count = 4;
} // namespace Given

/** The members of requests and answers. */
namespace Key {
inline constexpr char id[] = "id";
inline constexpr char op[] = "op";
inline constexpr char document[] = "document";
inline constexpr char file[] = "file";
inline constexpr char password[] = "password";
inline constexpr char output[] = "output";
inline constexpr char format[] = "format";
inline constexpr char page[] = "page";
inline constexpr char pages[] = "pages";
inline constexpr char merge[] = "merge";
inline constexpr char resolution[] = "resolution";
inline constexpr char size[] = "size";
inline constexpr char asIs[] = "asIs";
inline constexpr char gray[] = "gray";
inline constexpr char quality[] = "quality";
inline constexpr char compression[] = "compression";
inline constexpr char linearize[] = "linearize";
inline constexpr char dehyphenate[] = "dehyphenate";
inline constexpr char layout[] = "layout";
inline constexpr char part[] = "part";
inline constexpr char box[] = "box";
inline constexpr char crop[] = "crop";
inline constexpr char rotate[] = "rotate";
inline constexpr char transparent[] = "transparent";
inline constexpr char mono[] = "mono";
inline constexpr char ok[] = "ok";
inline constexpr char reason[] = "reason";
inline constexpr char message[] = "message";
inline constexpr char engine[] = "engine";
inline constexpr char failed[] = "failed";
inline constexpr char worn[] = "worn";
inline constexpr char withoutText[] = "withoutText";
inline constexpr char unmapped[] = "unmapped";
inline constexpr char missing[] = "missing";
inline constexpr char encrypted[] = "encrypted";
inline constexpr char encryption[] = "encryption";
inline constexpr char method[] = "method";
inline constexpr char bits[] = "bits";
inline constexpr char openedWith[] = "openedWith";
inline constexpr char permissions[] = "permissions";
inline constexpr char repaired[] = "repaired";
inline constexpr char version[] = "version";
inline constexpr char properties[] = "properties";
inline constexpr char details[] = "details";
inline constexpr char width[] = "width";
inline constexpr char height[] = "height";
inline constexpr char bytes[] = "bytes";
} // namespace Key

/** What keeps a worker from most, by the names that people are told. */
namespace Measure {
inline constexpr char fileAccess[] = "file access (Landlock)";
inline constexpr char systemCalls[] = "system calls (seccomp)";
} // namespace Measure

/** What a request can ask for. */
namespace Operation {
inline constexpr char open[] = "open";
inline constexpr char save[] = "save";
inline constexpr char close[] = "close";
inline constexpr char convert[] = "convert";
} // namespace Operation

/** What a document can be converted into; ResultFormat.h says more of each. */
namespace Format {
inline constexpr char png[] = "png";
inline constexpr char jpg[] = "jpg";
inline constexpr char tif[] = "tif";
inline constexpr char bmp[] = "bmp";
inline constexpr char webp[] = "webp";
inline constexpr char txt[] = "txt";
inline constexpr char json[] = "json";
inline constexpr char tsv[] = "tsv";
inline constexpr char hocr[] = "hocr";
inline constexpr char pdf[] = "pdf";
/** Not a file, but memory; nobody but the library asks for it. */
inline constexpr char pixels[] = "pixels";
} // namespace Format

/** What a PNG can be made for. */
namespace CompressionWord {
inline constexpr char fast[] = "fast";
inline constexpr char small[] = "small";
} // namespace CompressionWord

/** How gray becomes black and white. */
namespace MonoWord {
inline constexpr char threshold[] = "threshold";
inline constexpr char dither[] = "dither";
} // namespace MonoWord

/** The boxes of a page. */
inline constexpr const char* boxWords[] = {"crop", "media", "trim", "bleed", "art"};

/** Dots per inch. */
inline constexpr double lowestResolution = 1;
inline constexpr double highestResolution = 4800;
inline constexpr double defaultResolution = 150;

/** The most pixels that a picture has in a row or in a column. */
inline constexpr int longestSide = 65'000;

/** Bytes from one row of the format "pixels" to the next; every row begins at a word. */
constexpr qint64 BytesOfRow(qint64 width, bool isGray)
{
    return (width * (isGray ? 1 : 4) + 3) / 4 * 4;
}

/** The furthest that a part of a page can begin and end from its top left. */
inline constexpr double mostPoints = 1'000'000;

/** Qualities of pictures begin with 1. */
inline constexpr int highestQuality = 100;
inline constexpr int defaultQuality = 90;

/** MiB of address space. */
inline constexpr int defaultMemoryLimit = 1024;

/** MiB of a file that is written; 0 stands for no limit. */
inline constexpr int defaultFileLimit = 1024;

/** Seconds of CPU time for each request. */
inline constexpr int defaultTimeLimit = 600;

/** The exit code of a worker whose memory has run out. */
inline constexpr int outOfMemoryExitCode = 77;

/** The exit code of a worker that the machine did not give what it takes to start. */
inline constexpr int notStartedExitCode = 78;

/** The exit code of a worker whose document was shortened while it was read. */
inline constexpr int changedExitCode = 79;

/** The exit code of a worker that lacks a measure of the sandbox, where all are required. */
inline constexpr int unconfinedExitCode = 80;

/** Why a request failed. */
enum class Reason {
    // The worker answers these.
    Unreadable,
    Empty,
    NotAPdf,
    Damaged,
    NoPassword,
    WrongPassword,
    UnsupportedEncryption,
    NoSuchDocument,
    NoSuchPage,
    UnsupportedFormat,
    CannotRender,
    CannotWrite,
    TooLarge,
    TooManyPages,
    BadRequest,
    Changed,
    // The library answers these for a worker that does not answer.
    NotStarted,
    Unconfined,
    Died,
    Rubbish,
    TimedOut,
    OutOfMemory,
    Ended // stays the last one
};

/** How an answer names the reason. */
constexpr const char* WordFor(Reason reason)
{
    switch (reason) {
    case Reason::Unreadable:
        return "unreadable";
    case Reason::Empty:
        return "empty";
    case Reason::NotAPdf:
        return "not-a-pdf";
    case Reason::Damaged:
        return "damaged";
    case Reason::NoPassword:
        return "no-password";
    case Reason::WrongPassword:
        return "wrong-password";
    case Reason::UnsupportedEncryption:
        return "unsupported-encryption";
    case Reason::NoSuchDocument:
        return "no-such-document";
    case Reason::NoSuchPage:
        return "no-such-page";
    case Reason::UnsupportedFormat:
        return "unsupported-format";
    case Reason::CannotRender:
        return "cannot-render";
    case Reason::CannotWrite:
        return "cannot-write";
    case Reason::TooLarge:
        return "too-large";
    case Reason::TooManyPages:
        return "too-many-pages";
    case Reason::BadRequest:
        return "bad-request";
    case Reason::Changed:
        return "changed";
    case Reason::NotStarted:
        return "not-started";
    case Reason::Unconfined:
        return "unconfined";
    case Reason::Died:
        return "died";
    case Reason::Rubbish:
        return "rubbish";
    case Reason::TimedOut:
        return "timed-out";
    case Reason::OutOfMemory:
        return "out-of-memory";
    case Reason::Ended:
        break;
    }
    return "ended";
}

/** The reason that a failed request's answer tells; none when it tells none that is known. */
inline std::optional<Reason> ReasonOf(const QJsonObject& answer)
{
    const QString word = answer[Key::reason].toString();
    for (int reason = 0; reason <= int(Reason::Ended); ++reason) {
        if (word == QLatin1String(WordFor(Reason(reason))))
            return Reason(reason);
    }
    return std::nullopt;
}

/** The answer to a request that failed, but for its `id`. */
inline QJsonObject FailureAnswer(const QString& reason, const QString& message)
{
    return {{Key::ok, false}, {Key::reason, reason}, {Key::message, message}};
}

inline QJsonObject FailureAnswer(Reason reason, const QString& message)
{
    return FailureAnswer(WordFor(reason), message);
}

} // namespace Korvel::WorkerProtocol
