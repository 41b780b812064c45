#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Korvel::App {

class Interruption;
struct Input;
struct PasswordOptions;

/**
 * The passwords that may open the inputs: given on the command line, by a map from paths, or typed
 * on the terminal.
 *
 * The empty password is not among them: it is always tried when a document is opened.
 */
class Passwords
{
public:
    /**
     * Reads what the options name. Environment variables are removed once they were read, so
     * that no child process sees them.
     *
     * @throws Failure      Password: a file, descriptor or variable cannot be read, a line of the
     *                      map is no entry, or there is no terminal to ask on
     * @throws Interrupted  a signal came meanwhile
     */
    Passwords(const PasswordOptions& options, const Interruption& interruption);

    /**
     * Looks for the password of an input: among those that are known, the likeliest first, and then
     * by asking on the terminal, without echo, up to three times. There is at least one to try, if
     * only the empty one.
     *
     * @param opens  tries one; called until it answers true
     * @return whether it has
     * @throws Failure      Password: the answer on the terminal was none
     * @throws Interrupted  a signal came meanwhile; the terminal is as it was
     */
    bool Find(const Input& input, const std::function<bool(const std::string&)>& opens);

    /**
     * What Find tries before it asks, the likeliest first; on the heap, where passwords are
     * overwritten when they are freed.
     */
    std::vector<std::string> KnownFor(const Input& input) const;

    /** Whether any is known, or somebody can be asked for one. */
    bool MayBeUsed() const;

    /** The map of passwords if it should hold one for the input, and does not; else empty. */
    std::string MapWithout(const Input& input) const;

private:
    Passwords(const Passwords&) = delete;
    Passwords& operator=(const Passwords&) = delete;

    std::optional<std::string> AskFor(const Input& input, bool again) const;
    void Remember(const std::string& password);
    bool IsGivenFor(const Input& input) const;
    std::optional<std::string> ReadGeneral(const PasswordOptions& options) const;
    std::map<std::string, std::string> ReadMap(const std::string& file) const;

    const Interruption& interruption;
    const bool mayAsk;
    const std::string map;
    /** The password of every input that the map does not name. */
    std::optional<std::string> general;
    /** Absolute path -> password. */
    const std::map<std::string, std::string> byPath;
    /** Answers that were right, the newest first. */
    std::vector<std::string> typed;
};

} // namespace Korvel::App
