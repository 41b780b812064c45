#pragma once

#include <exception>
#include <functional>
#include <future>
#include <utility>

namespace Korvel::PDF::Test {

/** A future that is ready and holds `value`. */
template <typename T>
std::future<T> Ready(T value)
{
    std::promise<T> promise;
    promise.set_value(std::move(value));
    return promise.get_future();
}

/** A future that is ready and holds an exception. */
template <typename T, typename E>
std::future<T> Throwing(E exception)
{
    std::promise<T> promise;
    promise.set_exception(std::make_exception_ptr(std::move(exception)));
    return promise.get_future();
}

/** A future that has no state. */
template <typename T>
std::future<T> Stateless()
{
    return {};
}

/** A future that calls `answer` when somebody first waits for it, and never when nobody does. */
template <typename T>
std::future<T> WhenWaitedFor(std::function<T()> answer)
{
    return std::async(std::launch::deferred, std::move(answer));
}

} // namespace Korvel::PDF::Test
