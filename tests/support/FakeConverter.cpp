#include "FakeConverter.h"

#include <QMetaMethod>

namespace Korvel::PDF::Test {

FakeConverter::FakeConverter(std::shared_ptr<CallJournal> journal) : journal(std::move(journal)) {}

FakeConverter::~FakeConverter()
{
    if (onDestruction)
        onDestruction();
    journal->push_back("~FakeConverter");
}

bool FakeConverter::ConvertFile(const Task& task)
{
    journal->push_back("ConvertFile " + task.source.toStdString() + " to " +
                       task.destination.toStdString());
    tasks.push_back(task);
    if (onConvertFile)
        onConvertFile(task);
    return accepts;
}

bool FakeConverter::CancelConvertation()
{
    journal->push_back("CancelConvertation");
    if (onCancelConvertation)
        onCancelConvertation();
    return cancels;
}

std::map<QString, QStringList> FakeConverter::GetSupportedFormats() const
{
    journal->push_back("GetSupportedFormats");
    return formats;
}

bool FakeConverter::DoesServiceAvailable()
{
    journal->push_back("DoesServiceAvailable");
    return isAvailable;
}

int FakeConverter::CountReceivers(const QByteArray& signature) const
{
    // The code that the SIGNAL macro puts before a signature.
    return receivers(QByteArray("2" + signature).constData());
}

void FakeConverter::connectNotify(const QMetaMethod& signal)
{
    connections.push_back(signal.methodSignature());
    journal->push_back("connect " + signal.methodSignature().toStdString());
}

} // namespace Korvel::PDF::Test
