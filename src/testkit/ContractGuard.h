#pragma once

#include <exception>

#include <gtest/gtest.h>

namespace Korvel::PDF::TestKit {

/**
 * What `operation` returns. When it throws, the running test fails with `promise`, and the answer
 * is an empty value.
 */
template <typename Operation>
auto Unthrown(const char* promise, Operation operation) -> decltype(operation())
{
    try {
        return operation();
    } catch (const std::exception& exception) {
        ADD_FAILURE() << promise << ". It threw: " << exception.what();
    } catch (...) {
        ADD_FAILURE() << promise << ". It threw.";
    }
    return {};
}

} // namespace Korvel::PDF::TestKit
