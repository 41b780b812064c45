#include "Document.h"

#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "Passwords.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::App {

namespace {

/** Why errno says that there is nothing to read. */
Failure Unreadable()
{
    return {ExitCode::Input, errno == ENOENT ? "not-found" : "unreadable", std::strerror(errno)};
}

void CheckInput(const Input& input)
{
    if (!input.problem.empty())
        throw Failure(ExitCode::Input, input.isFolder ? "unreadable" : "not-a-name", input.problem);
    const std::string path = input.path.toStdString();
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0)
        throw Unreadable();
    if (S_ISDIR(status.st_mode))
        throw Failure(ExitCode::Input, "not-a-file",
                      "is a folder; --recursive converts the PDFs in it");
    if (!S_ISREG(status.st_mode))
        throw Failure(ExitCode::Input, "not-a-file", "is not a regular file");
    if (::access(path.c_str(), R_OK) != 0)
        throw Unreadable();
}

/** Whether another password may open what was not opened for this reason. */
bool IsForWantOfPassword(PDF::OpenFailure why)
{
    return why == PDF::OpenFailure::NoPassword || why == PDF::OpenFailure::WrongPassword;
}

} // namespace

void Document::Begin(const Passwords& passwords, ConverterFactory& factory)
{
    try {
        CheckInput(input);
    } catch (const Failure&) {
        return; // which is told when it is to be opened
    }
    const std::string path = input.path.toStdString();
    state = SourceState(path);
    begunWith = passwords.KnownFor(input).front();
    begun = factory.PdfProvider().OpenDocument(ioPath(path), begunWith);
}

void Document::Open(Passwords& passwords, ConverterFactory& factory)
{
    CheckInput(input);
    try {
        OpenUnchanged(passwords, factory);
    } catch (const Failure&) {
        if (IsUnchanged())
            throw;
        OpenUnchanged(passwords, factory);
    }
}

void Document::OpenUnchanged(Passwords& passwords, ConverterFactory& factory)
{
    const std::string path = input.path.toStdString();
    if (!begun.valid())
        state = SourceState(path);
    if (!passwords.Find(input, [&](const auto& tried) { return TakesPassword(tried, factory); }))
        throw WhyNotOpened(passwords, factory);
    if (!IsUnchanged())
        throw ChangedFailure();
}

Failure Document::WhyNotOpened(const Passwords& passwords, const ConverterFactory& factory) const
{
    const Failure failure = factory.WhyNotOpened(input.path.toStdString());
    const std::string map = passwords.MapWithout(input);
    const bool isMissing = failure.code == ExitCode::Password && !map.empty();
    return isMissing ? NoEntryFailure(map) : failure;
}

bool Document::IsUnchanged() const
{
    return SourceState(input.path.toStdString()) == state;
}

void Document::OpenAnew(ConverterFactory& factory)
{
    CheckInput(input);
    state = SourceState(input.path.toStdString());
    const auto handle = Describe(password, factory);
    if (!handle)
        throw factory.WhyNotOpened(input.path.toStdString());
    factory.PdfProvider().CloseDocument(*handle).wait();
    if (!IsUnchanged())
        throw ChangedFailure();
}

/** Throws when it is not the password that is amiss. */
bool Document::TakesPassword(const std::string& tried, ConverterFactory& factory)
{
    const auto handle = Describe(tried, factory);
    if (!handle)
        return false;
    factory.Close(*handle, input.path, NeedsCopy());
    password = tried;
    return true;
}

/** Opens the document; none where another password may do so. */
std::optional<PDF::DocumentHandle> Document::Describe(const std::string& tried,
                                                      ConverterFactory& factory)
{
    const ioPath path(input.path.toStdString());
    PDF::WorkerPdfProvider& provider = factory.PdfProvider();
    const PDF::DocumentHandle handle = OpenWith(tried, factory);
    factory.CheckForSignal();
    if (auto described = provider.Describe(handle)) {
        info = std::move(*described);
        return handle;
    }
    if (const PDF::OpenFailure why = provider.WhyOpenFailed(path); !IsForWantOfPassword(why))
        throw factory.WhyNotOpened(path.utf8string());
    return std::nullopt;
}

bool Document::IsWaitedFor() const
{
    return begun.valid() && begun.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

bool Document::LacksWorker(ConverterFactory& factory)
{
    if (!begun.valid())
        return false;
    begun.wait();
    return factory.PdfProvider().WhyOpenFailed(ioPath(input.path.toStdString())) ==
           PDF::OpenFailure::NotStarted;
}

void Document::GiveUp(ConverterFactory& factory)
{
    if (begun.valid())
        factory.PdfProvider().CloseDocument(begun.get()).wait();
    ::explicit_bzero(begunWith.data(), begunWith.size());
}

/** What was begun counts when it was with that password. */
PDF::DocumentHandle Document::OpenWith(const std::string& tried, ConverterFactory& factory)
{
    const bool isBegun = tried == begunWith;
    if (begun.valid() && isBegun) {
        ::explicit_bzero(begunWith.data(), begunWith.size());
        return begun.get();
    }
    GiveUp(factory);
    return factory.PdfProvider().OpenDocument(ioPath(input.path.toStdString()), tried).get();
}

void Document::ForgetPassword()
{
    ::explicit_bzero(password.data(), password.size());
}

} // namespace Korvel::App
