#pragma once

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

    /** Those to try for an input, the likeliest first; at least one, if only the empty one. */
    std::vector<std::string> KnownFor(const Input& input) const;

    /**
     * Asks on the terminal, without echo.
     *
     * @param again  the last answer was wrong
     * @return nothing when a password was given for the input, when there is no terminal, or when
     *         nothing is to be asked
     * @throws Interrupted  a signal came meanwhile; the terminal is as it was
     */
    std::optional<std::string> AskFor(const Input& input, bool again);

    /** An answer that was right, to be tried for the inputs that follow. */
    void Remember(const std::string& password);

private:
    bool IsGivenFor(const Input& input) const;
    std::optional<std::string> ReadGeneral(const PasswordOptions& options) const;
    std::map<std::string, std::string> ReadMap(const std::string& file) const;
    std::optional<std::string> Ask(const std::string& prompt) const;

    const Interruption& interruption;
    const bool mayAsk;
    /** For every input that the map does not name. */
    std::optional<std::string> general;
    /** Absolute path -> password. */
    const std::map<std::string, std::string> byPath;
    /** The newest first. */
    std::vector<std::string> typed;
};

} // namespace Korvel::App
