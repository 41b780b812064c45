#include "LogCapture.h"
#include "OtherThread.h"
#include "Stack.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"

#include <QCoreApplication>

namespace Korvel::PDF::Test {

using Converter::AbstractConverter;
using Converter::TempFileWrapper;
using Converter::UnencryptDocWrapper;

namespace {

/** The text of a record with handlerName for the prefix of one that a lambda writes. */
std::string NameHandler(const std::string& text)
{
    for (const char* message : {": Removing: ", ":  Cannot find info for file"}) {
        const std::size_t end = text.find(message);
        if (end != std::string::npos)
            return handlerName + text.substr(end);
    }
    return text;
}

std::string ToLine(const LogRecord& record)
{
    return LogLine(google::GetLogSeverityName(record.severity),
                   record.file.substr(record.file.rfind('/') + 1), NameHandler(record.text));
}

class RealStack : public Stack
{
public:
    RealStack(const World& world, Shape shape, int verbosity)
        : world(world), shape(std::move(shape)), log(verbosity), converter(*world.converter)
    {
        log.onRecord = [trace = world.trace](const LogRecord& record) {
            trace->push_back(ToLine(record));
        };
    }

    void Build() override
    {
        std::shared_ptr<AbstractConverter> built = world.converter;
        for (std::size_t i = 0; i < shape.size(); ++i) {
            built = MakeAround(built, shape[i]);
            ReportDestruction(*built, shape.size() - i);
        }
        called = built.get();
        outermost = std::move(built);
        ReceiveAll(*outermost, &receiver, [this](const std::string& line) {
            sendersTexts.clear();
            onReceived(line);
        });
    }

    bool ConvertFile(const Task& task) override { return called->ConvertFile(task); }
    bool CancelConvertation() override { return called->CancelConvertation(); }
    Formats GetSupportedFormats() const override { return called->GetSupportedFormats(); }
    bool DoesServiceAvailable() override { return called->DoesServiceAvailable(); }

    void Emit(const Emission& emission) override
    {
        const QString& source = SendersText(emission.source);
        if (emission.IsFinishedFile())
            Q_EMIT converter.Finished(source, emission.results.front());
        else if (emission.IsFinishedFiles())
            Q_EMIT converter.Finished(source, emission.results);
        else
            emission.signal->emitFrom(converter, source);
    }

    void EmitElsewhere(const Emission& emission) override
    {
        OnOtherThread([&] { Emit(emission); });
    }

    void DeliverQueued() override { QCoreApplication::sendPostedEvents(); }

    void Destroy() override { outermost.reset(); }

private:
    std::shared_ptr<AbstractConverter> MakeAround(const std::shared_ptr<AbstractConverter>& inner,
                                                  Wrapper wrapper) const
    {
        if (wrapper == Wrapper::TempFile)
            return std::make_shared<TempFileWrapper>(world.names, inner, world.files);
        return std::make_shared<UnencryptDocWrapper>(world.names, inner, world.pdfs, world.files);
    }

    void ReportDestruction(const AbstractConverter& wrapper, std::size_t position)
    {
        const auto report = [position, trace = world.trace] {
            trace->push_back("wrapper " + std::to_string(position) + " is destroyed");
        };
        QObject::connect(&wrapper, &QObject::destroyed, &receiver, report);
    }

    /** Its own copy of `text`, which dies while the caller is told. */
    const QString& SendersText(const QString& text)
    {
        sendersTexts.push_back(std::make_unique<QString>(text.constData(), text.size()));
        return *sendersTexts.back();
    }

    const World& world;
    const Shape shape;
    LogCapture log;
    QObject receiver;
    FakeConverter& converter;
    std::shared_ptr<AbstractConverter> outermost;
    /** The outermost wrapper, also while it is being destroyed. */
    AbstractConverter* called = nullptr;
    std::vector<std::unique_ptr<QString>> sendersTexts;
};

} // namespace

std::unique_ptr<Stack> MakeRealStack(const World& world, const Shape& shape, int verbosity)
{
    return std::make_unique<RealStack>(world, shape, verbosity);
}

} // namespace Korvel::PDF::Test
