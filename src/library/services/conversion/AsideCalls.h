#pragma once

#include <functional>
#include <map>
#include <thread>

#include <QObject>

namespace Korvel::PDF::Converter {

/** Calls functions that may block, each on a thread of its own. Used on one thread. */
class AsideCalls
{
public:
    /** @param context  lives on that thread, whose event loop joins the others, and outlives this
     */
    explicit AsideCalls(QObject& context) : context(context) {}

    /** Waits for what was called. */
    ~AsideCalls() { Wait(); }

    /** @throws std::system_error  there is no room for another thread */
    void Call(std::function<void()> function);

    /** Waits for what was called. */
    void Wait();

private:
    AsideCalls(const AsideCalls&) = delete;
    AsideCalls& operator=(const AsideCalls&) = delete;

    void Join(quint64 number);

    QObject& context;
    std::map<quint64, std::thread> threads;
    quint64 lastNumber = 0;
};

} // namespace Korvel::PDF::Converter
