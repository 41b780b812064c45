#pragma once

#include "CallJournal.h"
#include "ConverterSignals.h"
#include "FakeConverter.h"
#include "IFileNameGenerator.h"
#include "IFileSystem.h"
#include "IPDFProvider.h"

namespace Korvel::PDF::Test {

using Task = Converter::AbstractConverter::Task;
using Formats = std::map<QString, QStringList>;

/** An emission of one of a converter's signals, as a plain value. */
struct Emission
{
    const ConverterSignal* signal;
    QString source;
    /** What the two Finished carry, FinishedFile exactly one; the others carry fixed arguments. */
    QStringList results;

    bool IsFinishedFile() const;
    bool IsFinishedFiles() const;

    /** What ReceiveAll reports for it. */
    std::string Line() const;
};

/** What models of wrappers are handed: services that write their calls into the trace. */
struct ModelServices
{
    std::shared_ptr<CallJournal> trace;
    std::shared_ptr<IFileNameGenerator> names;
    std::shared_ptr<IPDFProvider> pdfs;
    std::shared_ptr<IFileSystem> files;
    /** Of the log. */
    int verbosity;
};

/** Stands for the name that a compiler gives to a lambda, before the records that it writes. */
constexpr auto handlerName = "(handler)";

/** The line of a log record in a trace; tells of a copy about to be removed whether it is there. */
std::string LogLine(const std::string& severity, const std::string& file, const std::string& text);

/**
 * What a converter does, without Qt: its signals are calls of one function.
 *
 * Everything that can be seen from outside becomes a line of the trace, in the order in which it
 * happens. Objects stay in memory when they are destroyed, so that a model need not mind who
 * destroys it when: with Destroy its life is over.
 */
class ConverterModel
{
public:
    using Receiver = std::function<void(const Emission&)>;

    virtual ~ConverterModel() = default;

    virtual bool ConvertFile(const Task& task) = 0;
    virtual bool CancelConvertation() = 0;
    virtual Formats GetSupportedFormats() const = 0;
    virtual bool DoesServiceAvailable() = 0;

    virtual void Connect(Receiver to) { receiver = std::move(to); }
    void Disconnect() { receiver = nullptr; }
    void Emit(const Emission& emission);

    /** An owner more than the one at its beginning, or one less: the last one destroys it. */
    void AddOwner() { ++owners; }
    void DropOwner();

protected:
    virtual void Destroy() = 0;

private:
    Receiver receiver;
    int owners = 1;
};

/** The innermost converter: the fake one, but for its signals. */
class InnermostModel : public ConverterModel
{
public:
    InnermostModel(std::shared_ptr<FakeConverter> converter, std::shared_ptr<CallJournal> trace);

    bool ConvertFile(const Task& task) override;
    bool CancelConvertation() override;
    Formats GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

    /** The fake converter journals eight connections. */
    void Connect(Receiver to) override;

private:
    void Destroy() override;

    std::shared_ptr<FakeConverter> converter;
    const std::shared_ptr<CallJournal> trace;
};

/** What the two wrappers have in common. */
class WrapperModel : public ConverterModel
{
public:
    /** `position` tells the wrappers of a stack apart in the trace. */
    WrapperModel(std::string name, ModelServices services, ConverterModel& inner, int position);

    bool CancelConvertation() override;
    Formats GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

protected:
    virtual void InnerEmits(const Emission& emission) = 0;

    /** Its answer. Cannot be destroyed meanwhile, though this wrapper can. */
    bool InnerConverts(const Task& task);

    /** Destroys the record, the inner converter's share included. */
    virtual void DestroyImpl() = 0;

    /** Logs where the verbosity allows it; `function` is one of the wrapper's. */
    void LogVerbose(const std::string& function, const std::string& message) const;
    void LogVerboseFromHandler(const std::string& message) const;
    void LogErrorFromHandler(const std::string& message) const;

    ModelServices services;
    ConverterModel& inner;

private:
    void Destroy() override;
    void Log(const std::string& severity, const std::string& prefix,
             const std::string& message) const;

    const std::string name;
    const int position;
};

/** What TempFileWrapper does. */
class TempFileModel : public WrapperModel
{
public:
    TempFileModel(ModelServices services, ConverterModel& inner, int position);

    bool ConvertFile(const Task& task) override;

private:
    void InnerEmits(const Emission& emission) override;
    void DestroyImpl() override;

    QStringList MoveResults(const Emission& emission, const QString& wanted);
    QString MoveResult(const QString& from, QString to);
    QString NumberedName(const QString& wanted);
    void LogUnknown(const Emission& emission) const;

    QString tempFolder;
    /** Source of each task in flight -> the wanted destination. */
    std::map<QString, QString> destinations;
};

/** What UnencryptDocWrapper does. */
class UnencryptModel : public WrapperModel
{
public:
    UnencryptModel(ModelServices services, ConverterModel& inner, int position);

    bool ConvertFile(const Task& task) override;

private:
    void InnerEmits(const Emission& emission) override;
    void DestroyImpl() override;

    bool MakeCopy(const Task& task, const QString& copy);
    void DropCopy(const QString& copy);

    /** Path of each copy in flight -> the caller's source. */
    std::map<QString, QString> sources;
};

} // namespace Korvel::PDF::Test
