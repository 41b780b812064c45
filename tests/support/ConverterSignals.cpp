#include "ConverterSignals.h"

#include <ostream>
#include <sstream>

#include <QMetaMethod>

namespace Korvel::PDF::Test {

using Converter::AbstractConverter;

namespace {

constexpr auto finishedFile = qOverload<const QString&, QString>(&AbstractConverter::Finished);
constexpr auto finishedFiles = qOverload<const QString&, QStringList>(&AbstractConverter::Finished);

template <auto signal>
QByteArray Signature()
{
    return QMetaMethod::fromSignal(signal).methodSignature();
}

template <auto signal>
bool DisconnectRelay(const AbstractConverter& sender, const AbstractConverter& receiver)
{
    return QObject::disconnect(&sender, signal, &receiver, signal);
}

template <auto signal, auto... arguments>
void Emit(AbstractConverter& sender, const QString& source)
{
    Q_EMIT(sender.*signal)(source, arguments...);
}

void EmitProgress(AbstractConverter& sender, const QString& source)
{
    Q_EMIT sender.ConvertationProgress(source, 0.5);
}

void EmitFinishedFile(AbstractConverter& sender, const QString& source)
{
    Q_EMIT sender.Finished(source, QStringLiteral("result.png"));
}

void EmitFinishedFiles(AbstractConverter& sender, const QString& source)
{
    Q_EMIT sender.Finished(source, QStringList{QStringLiteral("a.png"), QStringLiteral("b.png")});
}

template <auto signal>
ConverterSignal Describe(const char* name, void (*emitFrom)(AbstractConverter&, const QString&),
                         const char* arguments, bool endsTask = false)
{
    return {name, Signature<signal>(), emitFrom, DisconnectRelay<signal>, arguments, endsTask};
}

std::ostream& operator<<(std::ostream& stream, const QString& text)
{
    return stream << text.toStdString();
}

std::ostream& operator<<(std::ostream& stream, const QStringList& texts)
{
    return stream << '[' << texts.join(QLatin1Char(' ')) << ']';
}

using Receive = std::function<void(const std::string& line)>;

template <typename... Arguments>
void Report(const Receive& receive, const char* name, const Arguments&... arguments)
{
    std::ostringstream line;
    line << name;
    ((line << ' ' << arguments), ...);
    receive(line.str());
}

} // namespace

std::string ConverterSignal::Line(const QString& source) const
{
    return name + ' ' + source.toStdString() + arguments;
}

std::ostream& operator<<(std::ostream& stream, const ConverterSignal& signal)
{
    return stream << signal.name;
}

const std::vector<ConverterSignal>& ConverterSignals()
{
    using C = AbstractConverter;
    static const std::vector<ConverterSignal> signals{
        Describe<&C::UploadProgress>("UploadProgress", Emit<&C::UploadProgress, 1, 2>, " 1 2"),
        Describe<&C::DownloadProgress>("DownloadProgress", Emit<&C::DownloadProgress, 3, 4>,
                                       " 3 4"),
        Describe<&C::ConvertationStarted>("ConvertationStarted", Emit<&C::ConvertationStarted>, ""),
        Describe<&C::ConvertationProgress>("ConvertationProgress", EmitProgress, " 0.5"),
        Describe<&C::ConvertationFinished>("ConvertationFinished", Emit<&C::ConvertationFinished>,
                                           ""),
        Describe<&C::Failed>("Failed", Emit<&C::Failed, C::ErrorType(42)>, " 42", true),
        Describe<finishedFile>("FinishedFile", EmitFinishedFile, " result.png", true),
        Describe<finishedFiles>("FinishedFiles", EmitFinishedFiles, " [a.png b.png]", true)};
    return signals;
}

void ReceiveAll(const AbstractConverter& sender, const QObject* context, const Receive& receive)
{
    using C = AbstractConverter;
    QObject::connect(&sender, &C::UploadProgress, context,
                     [=](const QString& source, qint64 sent, qint64 total) {
                         Report(receive, "UploadProgress", source, sent, total);
                     });
    QObject::connect(&sender, &C::DownloadProgress, context,
                     [=](const QString& source, qint64 received, qint64 total) {
                         Report(receive, "DownloadProgress", source, received, total);
                     });
    QObject::connect(&sender, &C::ConvertationStarted, context, [=](const QString& source) {
        Report(receive, "ConvertationStarted", source);
    });
    QObject::connect(&sender, &C::ConvertationProgress, context,
                     [=](const QString& source, double progress) {
                         Report(receive, "ConvertationProgress", source, progress);
                     });
    QObject::connect(&sender, &C::ConvertationFinished, context, [=](const QString& source) {
        Report(receive, "ConvertationFinished", source);
    });
    QObject::connect(&sender, &C::Failed, context, [=](const QString& source, C::ErrorType error) {
        Report(receive, "Failed", source, int(error));
    });
    QObject::connect(&sender, finishedFile, context,
                     [=](const QString& source, const QString& resultFile) {
                         Report(receive, "FinishedFile", source, resultFile);
                     });
    QObject::connect(&sender, finishedFiles, context,
                     [=](const QString& source, const QStringList& resultFiles) {
                         Report(receive, "FinishedFiles", source, resultFiles);
                     });
}

} // namespace Korvel::PDF::Test
