#include "Document.h"

#include "ConverterFactory.h"
#include "FailureMessages.h"
#include "Passwords.h"

#include <cerrno>
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

std::unique_ptr<Document> Document::Open(const Input& input, Passwords& passwords,
                                         ConverterFactory& factory)
{
    CheckInput(input);
    // The password comes straight to the heap: nobody clears what is left of it on the stack.
    std::unique_ptr<Document> document(new Document(input));
    try {
        document->OpenUnchanged(passwords, factory);
    } catch (const Failure&) {
        if (document->IsUnchanged())
            throw;
        document->OpenUnchanged(passwords, factory);
    }
    return document;
}

void Document::OpenUnchanged(Passwords& passwords, ConverterFactory& factory)
{
    const std::string path = input.path.toStdString();
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

/** Throws when it is not the password that is amiss. */
bool Document::TakesPassword(const std::string& tried, ConverterFactory& factory)
{
    const ioPath path(input.path.toStdString());
    PDF::WorkerPdfProvider& provider = factory.PdfProvider();
    const PDF::DocumentHandle handle = provider.OpenDocument(path, tried).get();
    factory.CheckForSignal();
    if (auto described = provider.Describe(handle)) {
        info = std::move(*described);
        factory.Close(handle, NeedsCopy());
        password = tried;
        return true;
    }
    if (const PDF::OpenFailure why = provider.WhyOpenFailed(path); !IsForWantOfPassword(why))
        throw factory.WhyNotOpened(input.path.toStdString());
    return false;
}

void Document::ForgetPassword()
{
    ::explicit_bzero(password.data(), password.size());
}

} // namespace Korvel::App
