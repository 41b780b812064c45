#include "AsideCalls.h"

#include <utility>

namespace Korvel::PDF::Converter {

void AsideCalls::Call(std::function<void()> function)
{
    const quint64 number = ++lastNumber;
    const auto join = [this, number] {
        Join(number);
    };
    threads.emplace(number, std::thread([this, join, function = std::move(function)] {
                        function();
                        QMetaObject::invokeMethod(&context, join, Qt::QueuedConnection);
                    }));
}

void AsideCalls::Wait()
{
    while (!threads.empty())
        Join(threads.begin()->first);
}

void AsideCalls::Join(quint64 number)
{
    const auto ended = threads.extract(number);
    if (ended)
        ended.mapped().join();
}

} // namespace Korvel::PDF::Converter
