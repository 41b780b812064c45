#include "TaskOptions.h"

#include <cstdlib>
#include <map>
#include <memory>
#include <typeindex>
#include <vector>

#include <cxxabi.h>

namespace Korvel::PDF::Converter {

namespace {

/** The type as it is written in a program. */
std::string NameOf(const std::type_info& type)
{
    static const std::map<std::type_index, std::string> names{
        {typeid(std::string), "std::string"}, {typeid(std::vector<int>), "std::vector<int>"}};
    if (const auto name = names.find(type); name != names.end())
        return name->second;
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : type.name();
}

} // namespace

void TaskOptions::RequireNoOther() const
{
    for (const auto& [name, value] : options) {
        if (known.count(name) == 0)
            throw OptionError(name, "the option \"" + name + "\" is unknown");
    }
}

const std::any* TaskOptions::Take(const std::string& name)
{
    known.insert(name);
    const auto option = options.find(name);
    return option == options.end() ? nullptr : &option->second;
}

std::optional<double> TaskOptions::ToDouble(const std::any& value)
{
    if (const auto* number = std::any_cast<int>(&value))
        return *number;
    if (const auto* number = std::any_cast<float>(&value))
        return double(*number);
    return std::nullopt;
}

OptionError TaskOptions::WrongType(const std::string& name, const std::any& value,
                                   const std::type_info& wanted)
{
    const std::string found = value.has_value() ? NameOf(value.type()) : "empty";
    return {name, "the option \"" + name + "\" must be of the type " + NameOf(wanted) +
                      ", and is " + found};
}

} // namespace Korvel::PDF::Converter
