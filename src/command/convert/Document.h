#pragma once

#include "DocumentChain.h"
#include "Failure.h"
#include "Input.h"
#include "SourceState.h"
#include "WorkerPdfProvider.h"

#include <future>
#include <memory>
#include <optional>
#include <string>

namespace Korvel::App {

class ConverterFactory;
class Passwords;

/**
 * A document that was opened once: what it says of itself, and the password that it takes. Used on
 * the main thread.
 */
class Document
{
public:
    explicit Document(const Input& input) : input(input) {}

    /**
     * Has a worker begin to open it, with the likeliest of its passwords. Several are opened side
     * by side so; each keeps a worker until it is opened.
     */
    void Begin(const Passwords& passwords, ConverterFactory& factory);

    /** Whether that is still going on. */
    bool IsWaitedFor() const;

    /** Whether that failed, as the machine had no room for one more worker. Waits for it. */
    bool LacksWorker(ConverterFactory& factory);

    /** Leaves it as it was before that was begun, and its worker to others. */
    void GiveUp(ConverterFactory& factory);

    /**
     * Opens it, with the password that is found for it.
     *
     * @throws Failure      it is none that can be converted, or no password opens it
     * @throws Interrupted  a signal came meanwhile
     */
    void Open(Passwords& passwords, ConverterFactory& factory);

    /**
     * Opens it as it is now, with the password that it was opened with before.
     *
     * @throws Failure      it is none that can be converted any more, or not with that password
     * @throws Interrupted  a signal came meanwhile
     */
    void OpenAnew(ConverterFactory& factory);

    const Input& GetInput() const { return input; }

    /** Whether the file is still the one that was opened, and as it was then. */
    bool IsUnchanged() const;

    /** What messages call it. */
    const QString& Name() const { return input.name; }

    /** What the document says of itself. */
    const PDF::DocumentInfo& Info() const { return info; }

    /** Whether a copy of it is converted, without encryption and damage. */
    bool NeedsCopy() const { return PDF::Converter::NeedsCopy(info); }

    const std::string& Password() const { return password; }

    /** Overwrites the password, once it is with whoever converts the document. */
    void ForgetPassword();

private:
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    void OpenUnchanged(Passwords& passwords, ConverterFactory& factory);
    Failure WhyNotOpened(const Passwords& passwords, const ConverterFactory& factory) const;
    bool TakesPassword(const std::string& tried, ConverterFactory& factory);
    std::optional<PDF::DocumentHandle> Describe(const std::string& tried,
                                                ConverterFactory& factory);
    PDF::DocumentHandle OpenWith(const std::string& tried, ConverterFactory& factory);

    const Input input;
    /** From before it was opened. */
    SourceState state;
    /** What was begun, and with what; invalid once that is taken. */
    std::future<PDF::DocumentHandle> begun;
    std::string begunWith;
    PDF::DocumentInfo info;
    std::string password;
};

} // namespace Korvel::App
