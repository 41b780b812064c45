#pragma once

#include "AbstractConverter.h"
#include "CallJournal.h"

#include <functional>

namespace Korvel::PDF::Test {

/**
 * A converter that records what it is asked and who connects to it, and converts nothing.
 *
 * Tests emit its signals themselves, from inside an operation or from its destructor by the
 * functions below.
 */
class FakeConverter : public Converter::AbstractConverter
{
public:
    explicit FakeConverter(std::shared_ptr<CallJournal> journal);
    ~FakeConverter() override;

    bool ConvertFile(const Task& task) override;
    bool CancelConvertation() override;
    std::map<QString, QStringList> GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

    /** How many connections leave from this signal, given by its signature. */
    int CountReceivers(const QByteArray& signature) const;

    /** Every task that ConvertFile was given. */
    std::vector<Task> tasks;

    /** Signature of the signal of every connection that was made, in order. */
    std::vector<QByteArray> connections;

    bool accepts = true;
    bool cancels = true;
    bool isAvailable = true;
    std::map<QString, QStringList> formats;

    /** Called within the operation, before it answers. */
    std::function<void(const Task&)> onConvertFile;
    std::function<void()> onCancelConvertation;

    /** Called within the destructor, while the signals still work. */
    std::function<void()> onDestruction;

protected:
    void connectNotify(const QMetaMethod& signal) override;

private:
    const std::shared_ptr<CallJournal> journal;
};

} // namespace Korvel::PDF::Test
