#include "WrapperModel.h"

#include "GetNextAvaliableIndex.h"

#include <filesystem>
#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

namespace Korvel::PDF::Test {

namespace {

constexpr int verbosityOfInformation = 30;

QString ToQString(const ioPath& path)
{
    return QString::fromUtf8(path.utf8string().c_str());
}

/** As TempFileWrapper makes paths: the text ends at the first NUL. */
ioPath ToPath(const QString& text)
{
    ioPath path;
    path = text.toUtf8().constData();
    return path;
}

auto Own(ConverterModel& converter)
{
    converter.AddOwner();
    return qScopeGuard([&] { converter.DropOwner(); });
}

} // namespace

bool Emission::IsFinishedFile() const
{
    return signal->name == "FinishedFile";
}

bool Emission::IsFinishedFiles() const
{
    return signal->name == "FinishedFiles";
}

std::string Emission::Line() const
{
    if (IsFinishedFile())
        return signal->name + ' ' + source.toStdString() + ' ' + results.front().toStdString();
    if (IsFinishedFiles())
        return signal->name + ' ' + source.toStdString() + " [" +
               results.join(QLatin1Char(' ')).toStdString() + ']';
    return signal->Line(source);
}

std::string LogLine(const std::string& severity, const std::string& file, const std::string& text)
{
    const std::string removing = std::string(handlerName) + ": Removing: ";
    const bool isThere = text.compare(0, removing.size(), removing) == 0 &&
                         std::filesystem::exists(text.substr(removing.size()));
    return "log " + severity + ' ' + file + ' ' + text + (isThere ? " (is there)" : "");
}

void ConverterModel::Emit(const Emission& emission)
{
    const Receiver called = receiver; // which may disconnect
    if (called)
        called(emission);
}

void ConverterModel::DropOwner()
{
    if (--owners == 0)
        Destroy();
}

InnermostModel::InnermostModel(std::shared_ptr<FakeConverter> converter,
                               std::shared_ptr<CallJournal> trace)
    : converter(std::move(converter)), trace(std::move(trace))
{
}

bool InnermostModel::ConvertFile(const Task& task)
{
    return converter->ConvertFile(task);
}

bool InnermostModel::CancelConvertation()
{
    return converter->CancelConvertation();
}

Formats InnermostModel::GetSupportedFormats() const
{
    return converter->GetSupportedFormats();
}

bool InnermostModel::DoesServiceAvailable()
{
    return converter->DoesServiceAvailable();
}

void InnermostModel::Connect(Receiver to)
{
    for (const ConverterSignal& signal : ConverterSignals())
        trace->push_back("connect " + signal.signature.toStdString());
    ConverterModel::Connect(std::move(to));
}

void InnermostModel::Destroy()
{
    converter.reset();
}

WrapperModel::WrapperModel(std::string name, ModelServices services, ConverterModel& inner,
                           int position)
    : services(std::move(services)), inner(inner), name(std::move(name)), position(position)
{
}

bool WrapperModel::InnerConverts(const Task& task)
{
    const auto share = Own(inner);
    return inner.ConvertFile(task);
}

bool WrapperModel::CancelConvertation()
{
    const auto share = Own(inner);
    return inner.CancelConvertation();
}

Formats WrapperModel::GetSupportedFormats() const
{
    return inner.GetSupportedFormats();
}

bool WrapperModel::DoesServiceAvailable()
{
    return inner.DoesServiceAvailable();
}

void WrapperModel::Destroy()
{
    DestroyImpl();
    services.trace->push_back("wrapper " + std::to_string(position) + " is destroyed");
    inner.Disconnect();
    Disconnect();
}

void WrapperModel::LogVerbose(const std::string& function, const std::string& message) const
{
    if (services.verbosity >= verbosityOfInformation)
        Log("INFO", "Korvel::PDF::Converter::" + name + "::" + function, message);
}

void WrapperModel::LogVerboseFromHandler(const std::string& message) const
{
    if (services.verbosity >= verbosityOfInformation)
        Log("INFO", handlerName, message);
}

void WrapperModel::LogErrorFromHandler(const std::string& message) const
{
    Log("ERROR", handlerName, message);
}

void WrapperModel::Log(const std::string& severity, const std::string& prefix,
                       const std::string& message) const
{
    services.trace->push_back(LogLine(severity, name + ".cpp", prefix + ": " + message));
}

TempFileModel::TempFileModel(ModelServices given, ConverterModel& inner, int position)
    : WrapperModel("TempFileWrapper", std::move(given), inner, position)
{
    const QString name = QString::fromStdString(services.names->GenerateFileName());
    tempFolder = ToQString(services.files->GetTempFolder()) + "/PDFConverter" + name;
    const bool exists = services.files->Exists(ToPath(tempFolder)) ||
                        services.files->CreateFolder(ToPath(tempFolder));
    LogVerbose("Impl::Impl",
               "temp folder: " + tempFolder.toStdString() + " exists: " + (exists ? "1" : "0"));
    inner.Connect([this](const Emission& emission) { InnerEmits(emission); });
}

bool TempFileModel::ConvertFile(const Task& task)
{
    const QString name = QString::fromStdString(services.names->GenerateFileName());
    const QString suffix = QFileInfo(task.destination).suffix();
    destinations.insert({task.source, task.destination});
    Task redirected = task;
    redirected.destination = tempFolder + "/" + name + "." + suffix;
    LogVerbose("ConvertFile", " For: " + task.source.toStdString() +
                                  " using tmp file: " + redirected.destination.toStdString());
    return InnerConverts(redirected);
}

void TempFileModel::InnerEmits(const Emission& emission)
{
    if (!emission.IsFinishedFile() && !emission.IsFinishedFiles())
        return Emit(emission);
    const auto found = destinations.find(emission.source);
    if (found == destinations.end())
        return LogUnknown(emission);
    const QStringList moved = MoveResults(emission, found->second);
    destinations.erase(emission.source);
    Emit({emission.signal, emission.source, moved});
}

QStringList TempFileModel::MoveResults(const Emission& emission, const QString& wanted)
{
    if (emission.IsFinishedFile())
        return {MoveResult(emission.results.front(), wanted)};
    const QFileInfo info(wanted);
    for (const QString& result : emission.results)
        MoveResult(result, info.dir().path() + info.fileName());
    return {};
}

QString TempFileModel::MoveResult(const QString& from, QString to)
{
    const QString suffix = QFileInfo(from).suffix();
    if (QFileInfo(to).suffix() != suffix)
        to += "." + suffix;
    if (services.files->Exists(ToPath(to)))
        to = NumberedName(to);
    if (services.files->Move(ToPath(from), ToPath(to)))
        return to;
    LogVerbose("Impl::MoveFileFromTmp", "Cannot move from: " + from.toStdString() + " to " +
                                            to.toStdString() + ". Possibly file already exists");
    return {};
}

QString TempFileModel::NumberedName(const QString& wanted)
{
    const QFileInfo info(wanted);
    const QString base = info.completeBaseName();
    const std::regex pattern(base.toStdString() + "\\((\\d+)\\)" + "\\." +
                                 info.suffix().toStdString(),
                             std::regex::ECMAScript | std::regex::icase);
    const std::string index = Util::GetNextAvaliableIndex(ToPath(info.path()), pattern);
    return QDir(info.path() + "/" + base + "(" + QString::fromStdString(index) + ")." +
                info.suffix())
        .path();
}

void TempFileModel::DestroyImpl()
{
    const bool removed = services.files->RemoveFolder(ToPath(tempFolder));
    LogVerbose("Impl::~Impl",
               "temp folder: " + tempFolder.toStdString() + " removed: " + (removed ? "1" : "0"));
    destinations.clear();
    inner.DropOwner();
    services.names.reset();
    services.files.reset();
}

void TempFileModel::LogUnknown(const Emission& emission) const
{
    const std::string what =
        emission.IsFinishedFile()
            ? " Cannot find info for file: " + emission.results.front().toStdString()
            : " Cannot find info for files: " + std::to_string(emission.results.size());
    LogErrorFromHandler(what + "; Original file: " + emission.source.toStdString());
}

UnencryptModel::UnencryptModel(ModelServices given, ConverterModel& inner, int position)
    : WrapperModel("UnencryptDocWrapper", std::move(given), inner, position)
{
    inner.Connect([this](const Emission& emission) { InnerEmits(emission); });
}

bool UnencryptModel::ConvertFile(const Task& task)
{
    if (task.options.count("need_export") == 0)
        return InnerConverts(task);
    const QString name = QString::fromStdString(services.names->GenerateFileName());
    const QString copy = ToQString(services.files->GetTempFolder()) + "/" + name + ".pdf";
    if (!MakeCopy(task, copy))
        return false;
    Task unencrypted = task;
    unencrypted.source = copy;
    sources.insert({copy, task.source});
    return InnerConverts(unencrypted);
}

bool UnencryptModel::MakeCopy(const Task& task, const QString& copy)
{
    const auto option = task.options.find("password");
    const std::string password =
        option == task.options.end() ? "" : std::any_cast<std::string>(option->second);
    const std::string from = task.source.toStdString();
    const std::string to = copy.toStdString();

    const DocumentHandle document = services.pdfs->OpenDocument(ioPath(from), password).get();
    LogVerbose("ConvertFile", "Unencrypying: " + from + " to: " + to +
                                  (password.empty() ? " without" : " with") + " using password");
    if (document.id < 0) {
        LogVerbose("ConvertFile", "Cannot open: " + from);
        return false;
    }
    std::future<bool> saved = services.pdfs->SaveDocument(document, ioPath(to));
    saved.wait();
    services.pdfs->CloseDocument(document);
    if (!saved.get()) {
        LogVerbose("ConvertFile", "Cannot save: " + from + " to: " + to);
        return false;
    }
    LogVerbose("ConvertFile", "File: " + from + " unencrypted and saved to: " + to);
    return true;
}

void UnencryptModel::InnerEmits(const Emission& emission)
{
    const auto found = sources.find(emission.source);
    if (found == sources.end())
        return Emit(emission);
    const Emission translated{emission.signal, found->second, emission.results};
    if (!emission.signal->endsTask)
        return Emit(translated);
    try {
        Emit(translated);
    } catch (...) {
        DropCopy(emission.source);
        throw;
    }
    DropCopy(emission.source);
}

void UnencryptModel::DropCopy(const QString& copy)
{
    LogVerboseFromHandler("Removing: " + copy.toStdString());
    ioPath::remove(ioPath(copy.toStdString()));
    sources.erase(copy);
}

void UnencryptModel::DestroyImpl()
{
    sources.clear();
    services.files.reset();
    services.pdfs.reset();
    inner.DropOwner();
    services.names.reset();
}

} // namespace Korvel::PDF::Test
