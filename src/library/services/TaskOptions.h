#pragma once

#include "AbstractConverter.h"
#include "OptionError.h"

#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>

namespace Korvel::PDF::Converter {

/** Reads the options of a task, and knows which of them nobody has asked for. */
class TaskOptions
{
public:
    /** Values by their names. */
    using Options = decltype(AbstractConverter::Task::options);

    /** @param options  live longer than this */
    explicit TaskOptions(const Options& options) : options(options) {}

    /**
     * The option's value; nothing when it is not there. Whole numbers do for a `double`.
     *
     * @throws OptionError  it has a value of another type
     */
    template <typename T>
    std::optional<T> Find(const std::string& name)
    {
        const std::any* const value = Take(name);
        if (!value)
            return std::nullopt;
        if (const T* const found = std::any_cast<T>(value))
            return *found;
        if constexpr (std::is_same_v<T, double>) {
            if (const std::optional<double> number = ToDouble(*value))
                return number;
        }
        throw WrongType(name, *value, typeid(T));
    }

    /** Lets an option be there that is not asked for. */
    void Allow(const std::string& name) { known.insert(name); }

    /** @throws OptionError  there is one that was neither asked for nor allowed */
    void RequireNoOther() const;

private:
    const std::any* Take(const std::string& name);
    static std::optional<double> ToDouble(const std::any& value);
    static OptionError WrongType(const std::string& name, const std::any& value,
                                 const std::type_info& wanted);

    const Options& options;
    std::set<std::string> known;
};

} // namespace Korvel::PDF::Converter
