#pragma once

#include <functional>
#include <utility>

namespace Korvel::PDF::Test {

/** An option's value that calls a function whenever it is copied, as when its task is. */
class CopiedOption
{
public:
    explicit CopiedOption(std::function<void()> onCopy) : onCopy(std::move(onCopy)) {}

    CopiedOption(const CopiedOption& other) : onCopy(other.onCopy) { onCopy(); }
    CopiedOption(CopiedOption&&) = default;
    CopiedOption& operator=(const CopiedOption&) = delete;

private:
    std::function<void()> onCopy;
};

} // namespace Korvel::PDF::Test
