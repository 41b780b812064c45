#pragma once

#include "Option.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace Korvel::App {

/** Has CLI11 read options that a list describes; they are called by their long names. */
class OptionAdder
{
public:
    OptionAdder(CLI::App& app, const std::vector<Option>& list) : app(app), list(list)
    {
        app.set_help_flag(NamesOf("--help"));
    }

    /** The names of any number of files, which are what the arguments that are no options say. */
    void Files(const char* what, std::vector<std::string>& into)
    {
        // Where more may always follow, CLI11 takes "[a,b]" for two names. So it waits for as many
        // as there can be, and minds none that does not come.
        constexpr int all = CLI::detail::expected_max_vector_size;
        app.add_option(what, into)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->expected(all, all)
            ->allow_extra_args(false);
    }

    CLI::Option* Flag(const char* name, bool& into) { return app.add_flag(NamesOf(name), into); }

    /** An option whose value may be empty. */
    template <typename T>
    CLI::Option* Any(const char* name, T& into)
    {
        return app.add_option(NamesOf(name), into)->type_name(Find(name).value);
    }

    /** An option without empty values: most often a script has forgotten to set a variable. */
    template <typename T>
    CLI::Option* Value(const char* name, T& into)
    {
        return Any(name, into)->check(ProblemOfEmpty);
    }

    /** An option whose value `read` understands. */
    CLI::Option* Read(const char* name, const std::function<void(const std::string&)>& read)
    {
        return app.add_option_function(NamesOf(name), read)
            ->type_name(Find(name).value)
            ->check(ProblemOfEmpty);
    }

    /** An option whose value is one of its words. */
    CLI::Option* Word(const char* name, std::string& into)
    {
        return Value(name, into)->check(OneOf(Find(name).choices));
    }

    /** An option whose value is one of its words, in capital letters or not. */
    void WordOfAnyCase(const char* name, std::string& into)
    {
        Value(name, into)->check(OneOf(Find(name).choices))->transform(CLI::Validator(ToLower, {}));
    }

    /** An option whose words stand in the order of the enumeration. */
    template <typename Enumeration>
    void Word(const char* name, Enumeration& into)
    {
        Index(name, [&into](std::ptrdiff_t index) { into = Enumeration(index); });
    }

    /** One that has no value where it is not said. */
    template <typename Enumeration>
    void Word(const char* name, std::optional<Enumeration>& into)
    {
        Index(name, [&into](std::ptrdiff_t index) { into = Enumeration(index); });
    }

private:
    OptionAdder(const OptionAdder&) = delete;
    OptionAdder& operator=(const OptionAdder&) = delete;

    /** An option of whose words `take` is given the number. */
    void Index(const char* name, const std::function<void(std::ptrdiff_t)>& take)
    {
        const std::vector<std::string>& words = Find(name).choices;
        const auto read = [&words, take](const std::string& word) {
            take(std::find(words.begin(), words.end(), word) - words.begin());
        };
        Read(name, read)->check(OneOf(words));
    }

    const Option& Find(const std::string& name) const
    {
        const auto hasName = [&name](const Option& option) {
            return option.names.back() == name;
        };
        const auto found = std::find_if(list.begin(), list.end(), hasName);
        if (found == list.end())
            throw std::logic_error("no option is called " + name);
        return *found;
    }

    /** Complains of nothing. */
    static std::string ToLower(std::string& text)
    {
        text = CLI::detail::to_lower(text);
        return {};
    }

    static CLI::Validator OneOf(const std::vector<std::string>& words)
    {
        const auto check = [words](const std::string& text) {
            const bool isOne = std::find(words.begin(), words.end(), text) != words.end();
            return isOne ? std::string() : "'" + text + "' is none of " + Joined(words, ", ");
        };
        return CLI::Validator(check, {});
    }

    static std::string ProblemOfEmpty(const std::string& text)
    {
        return text.empty() ? "the value is empty; is a variable not set?" : "";
    }

    std::string NamesOf(const char* name) const { return Joined(Find(name).names, ","); }

    CLI::App& app;
    const std::vector<Option>& list;
};

} // namespace Korvel::App
