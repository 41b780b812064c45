#pragma once

#include "AsideCalls.h"
#include "ConversionFailure.h"
#include "ConversionJob.h"
#include "PdfConverter.h"

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include <QObject>
#include <QThread>

namespace Korvel::PDF::Converter {

class ConversionServices;

/**
 * The thread on which the documents of a PdfConverter are converted, as many at once as there are
 * processes. What blocks has threads of its own. Public functions are thread-safe, and return at
 * once but for Stop.
 */
class ConversionEngine
{
public:
    /** Starts no thread yet. */
    explicit ConversionEngine(const PdfConverter::Settings& settings);

    /** Stops it. */
    ~ConversionEngine();

    /** A number for a conversion. */
    quint64 NewNumber();

    /** Starts a conversion of a new number; the listener is told of its end in every case. */
    void Submit(quint64 number, const ConversionRequest& request,
                const std::shared_ptr<ConversionListener>& listener);

    /** Has a conversion end, if it has not. */
    void Cancel(quint64 number);

    /** Goes on with a conversion that waits for a password; nothing ends it. */
    void GivePassword(quint64 number, std::optional<std::string> password);

    /** Calls a function, which may block, on a thread of its own. Used on the engine's thread. */
    void CallAside(std::function<void()> function) { asides.Call(std::move(function)); }

    /** Calls a function on the engine's thread, or never when that is stopped before. */
    void Post(std::function<void()> function);

    /** Ends all conversions, and takes no further ones. Waits for what blocks. */
    void Stop();

private:
    ConversionEngine(const ConversionEngine&) = delete;
    ConversionEngine& operator=(const ConversionEngine&) = delete;

    struct Entry
    {
        std::unique_ptr<ConversionJob> job;
        std::string password;
        int attempts = 0;
        /** It is opened or converted, and not waiting for anything. */
        bool isWorking = false;
        /** Why the last password has not opened the document. */
        QString refusal;
    };

    /** Locks the mutex at its end: that shows what it did to whoever locks it after having waited.
     */
    class Thread : public QThread
    {
    public:
        explicit Thread(std::mutex& mutex) : mutex(mutex) {}

    private:
        void run() override;

        std::mutex& mutex;
    };

    /** The opening of a document, which may go on for a moment when its conversion has ended. */
    struct Opening
    {
        explicit Opening(QString document) : document(std::move(document)) {}

        const QString document;
        std::atomic<bool> isGivenUp = false;
    };

    struct Outcome
    {
        std::optional<PreparedDocument> document;
        std::optional<ConversionFailure> failure;
    };

    bool IsStarted();
    void Serve();
    bool IsBeingOpened(const QString& document) const;
    void Begin(Entry& entry, quint64 number);
    void Open(Entry& entry, quint64 number);
    static Outcome TryToPrepare(const ConversionRequest& request, std::string& password,
                                ConversionServices& services, const Opening& opening);
    void Prepared(quint64 number, Outcome& outcome);
    void AskForPassword(Entry& entry, const QString& refusal);
    void Convert(Entry& entry, quint64 number, PreparedDocument document);
    void TakePassword(quint64 number, std::optional<std::string> password);
    void CancelNow(quint64 number);
    void Fail(quint64 number, const ConversionFailure& failure);
    void End(quint64 number);
    void EndAll();

    const PdfConverter::Settings settings;
    /** Guards what follows. */
    std::mutex mutex;
    quint64 lastNumber = 0;
    bool isStopped = false;

    // Used on the thread.
    std::map<quint64, Entry> entries;
    std::map<quint64, std::shared_ptr<Opening>> openings;
    std::deque<quint64> waiting;
    int working = 0;
    std::shared_ptr<ConversionServices> services;

    Thread thread;
    /** Lives there. */
    const std::unique_ptr<QObject> context;
    AsideCalls asides;
};

} // namespace Korvel::PDF::Converter
