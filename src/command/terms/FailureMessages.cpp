#include "FailureMessages.h"

#include <cstring>

namespace Korvel::App {

namespace {

constexpr char cannotStart[] = "cannot-start";
constexpr char unconfined[] = "unconfined";
constexpr char tooLarge[] = "too-large";

} // namespace

using PDF::Converter::AbstractConverter;

Failure FailureOf(PDF::OpenFailure why)
{
    switch (why) {
    case PDF::OpenFailure::Unreadable:
        return {ExitCode::Input, "unreadable", "cannot be read"};
    case PDF::OpenFailure::Empty:
        return {ExitCode::Input, "empty", "is an empty file"};
    case PDF::OpenFailure::NotAPdf:
        return {ExitCode::Input, "not-a-pdf", "is not a PDF"};
    case PDF::OpenFailure::Damaged:
        return {ExitCode::Input, "damaged", "is damaged and cannot be repaired"};
    case PDF::OpenFailure::NoPassword:
        return {ExitCode::Password, "no-password",
                "is encrypted and needs its password; give it with --password-file, or run "
                "pdfconvert in a terminal to be asked"};
    case PDF::OpenFailure::WrongPassword:
        return {ExitCode::Password, "wrong-password", "is encrypted and the password is wrong"};
    case PDF::OpenFailure::UnsupportedEncryption:
        return {ExitCode::Conversion, "unsupported-encryption",
                "is encrypted in a way that is not supported"};
    case PDF::OpenFailure::OutOfMemory:
        return {ExitCode::Conversion, "out-of-memory",
                "takes more memory to open than is allowed; allow more with --memory-limit"};
    case PDF::OpenFailure::TimedOut:
        return {ExitCode::TimedOut, "timed-out",
                "takes too long to open; allow more with --timeout"};
    case PDF::OpenFailure::Changed:
        return ChangedFailure();
    case PDF::OpenFailure::TooManyPages:
        return {ExitCode::Input, "damaged",
                "is damaged: it lists more pages than a file of its size can hold"};
    case PDF::OpenFailure::None:
    case PDF::OpenFailure::NotStarted:
    case PDF::OpenFailure::Unconfined:
    case PDF::OpenFailure::WorkerFailed:
        break;
    }
    if (PDF::WorkerProcess::FindProgram().isEmpty())
        return BrokenInstallation();
    return {ExitCode::Conversion, "worker-failed",
            "the worker that opened it crashed; the file may be damaged (-v 1 tells more)"};
}

Failure FailureOf(PDF::SaveFailure why)
{
    switch (why) {
    case PDF::SaveFailure::Damaged:
        return FailureOf(PDF::OpenFailure::Damaged);
    case PDF::SaveFailure::OutOfMemory:
        return FailureOf(PDF::OpenFailure::OutOfMemory);
    case PDF::SaveFailure::TimedOut:
        return {ExitCode::TimedOut, "timed-out",
                "takes too long to be copied without encryption or damage; allow more with "
                "--timeout"};
    case PDF::SaveFailure::WorkerFailed:
        return FailureOf(PDF::OpenFailure::WorkerFailed);
    case PDF::SaveFailure::Changed:
        return ChangedFailure();
    case PDF::SaveFailure::TooLarge:
        return {ExitCode::Conversion, tooLarge,
                "its copy without encryption or damage would be larger than is allowed; allow more "
                "with --max-result"};
    case PDF::SaveFailure::CannotWrite:
    case PDF::SaveFailure::None:
        break;
    }
    return FailureOf(AbstractConverter::CannotWrite, "the document", false);
}

Failure FailureOf(AbstractConverter::ErrorType error, const std::string& what, bool isPicture,
                  const std::string& why)
{
    switch (error) {
    case AbstractConverter::CannotOpenSource:
        return {ExitCode::Conversion, "damaged", "cannot be opened for conversion"};
    case AbstractConverter::PasswordRequiredOrWrong:
        return {ExitCode::Password, "no-password", "is encrypted and needs its password"};
    case AbstractConverter::CannotRender:
        if (!why.empty())
            return {ExitCode::Conversion, "cannot-render", what + ": " + why};
        return {ExitCode::Conversion, "cannot-render",
                what + " cannot be converted; it may be damaged" +
                    (isPicture ? ", or too large at this resolution" : "") + " (-v 1 tells more)"};
    case AbstractConverter::CannotWrite:
        return {ExitCode::Output, "no-temporary-space",
                "there is no space for temporary files; free some, or choose another folder with "
                "--temp-dir"};
    case AbstractConverter::TimedOut:
        return {ExitCode::TimedOut, "timed-out",
                what + " took too long; allow more time with --timeout"};
    case AbstractConverter::OutOfMemory:
        return {ExitCode::Conversion, "out-of-memory",
                what + " takes more memory than is allowed; " +
                    (isPicture ? "try a lower resolution with -r, or " : "") +
                    "allow more with --memory-limit"};
    case AbstractConverter::SourceChanged:
        return ChangedFailure();
    case AbstractConverter::ResultTooLarge:
        return {ExitCode::Conversion, tooLarge,
                what + " would be larger than is allowed; allow more with --max-result"};
    default:
        return {ExitCode::Conversion, "failed", "the conversion failed (-v 1 tells more)"};
    }
}

Failure LackFailure(const QString& why)
{
    const bool saysWhatToDo = why.contains(QLatin1String("; "));
    return {ExitCode::Internal, cannotStart,
            why.toStdString() +
                (saysWhatToDo ? "" : "; use fewer jobs with -j, or raise the limit (ulimit -a)")};
}

Failure NotStartedFailure(const QString& why)
{
    return PDF::WorkerProcess::FindProgram().isEmpty() ? BrokenInstallation() : LackFailure(why);
}

Failure UnconfinedFailure(const QString& missing)
{
    return {ExitCode::Internal, unconfined,
            missing.toStdString() + "; --require-sandbox wants all that --version lists"};
}

bool IsOfMachine(const Failure& failure)
{
    return std::strcmp(failure.reason, cannotStart) == 0 ||
           std::strcmp(failure.reason, unconfined) == 0;
}

Failure BrokenInstallation()
{
    return {ExitCode::Internal, "broken-installation",
            "the program pdfconvert-worker is not where it was installed; install again"};
}

Failure NoEntryFailure(const std::string& map)
{
    return {ExitCode::Password, "no-password",
            "is encrypted, and " + map + " holds no password for it"};
}

Failure ChangedFailure()
{
    return {ExitCode::Input, "changed",
            "was changed while it was read; convert it again when nobody writes to it any more"};
}

Failure StandardOutputFailure()
{
    return {ExitCode::Output, "standard-output", "standard output did not take the result"};
}

Failure ExistsFailure(const QString& path)
{
    return {ExitCode::Exists, "exists", "its result " + path.toStdString() + " exists already"};
}

} // namespace Korvel::App
