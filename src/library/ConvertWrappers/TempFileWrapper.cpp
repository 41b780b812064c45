#include "TempFileWrapper.h"

#include "GetNextAvaliableIndex.h"
#include "IFileNameGenerator.h"
#include "IFileSystem.h"

#include <optional>
#include <regex>
#include <utility>

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include <glog/logging.h>

namespace Korvel::PDF::Converter {

namespace {

// Written out: __func__ leaves the scopes away, and __PRETTY_FUNCTION__ adds result and arguments.
constexpr char inImpl[] = "Korvel::PDF::Converter::TempFileWrapper::Impl::Impl: ";
constexpr char inImplDestructor[] = "Korvel::PDF::Converter::TempFileWrapper::Impl::~Impl: ";
constexpr char inMoveFileFromTmp[] =
    "Korvel::PDF::Converter::TempFileWrapper::Impl::MoveFileFromTmp: ";
constexpr char inConvertFile[] = "Korvel::PDF::Converter::TempFileWrapper::ConvertFile: ";

ioPath ToIoPath(const QString& text)
{
    ioPath path;
    path = text.toUtf8().constData();
    return path;
}

} // namespace

struct TempFileWrapper::Impl
{
    Impl(const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
         const std::shared_ptr<AbstractConverter>& converter,
         const std::shared_ptr<IFileSystem>& fileSystem);

    /** Begins the record's destruction and is logged as that; once. Must not need memory. */
    void RemoveTempFolder();

    /** The destination recorded for `source`; none, too, while the record is being destroyed. */
    static std::optional<QString> FindDestination(const Impl* impl, const QString& source);

    /** Moves `from` to `to` or a name like it; the final path, or null when it was not moved. */
    QString MoveFileFromTmp(const QString& from, QString to);

    std::shared_ptr<IFileSystem> fileSystem;
    std::shared_ptr<IFileNameGenerator> fileNameGenerator;
    std::shared_ptr<AbstractConverter> converter;
    /** Tasks in flight: source -> (source, wanted destination). */
    std::map<QString, std::pair<QString, QString>> filesInfo;
    QString tempFolder;
    /** The same for RemoveTempFolder. */
    ioPath tempFolderPath;
};

TempFileWrapper::Impl::Impl(const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
                            const std::shared_ptr<AbstractConverter>& converter,
                            const std::shared_ptr<IFileSystem>& fileSystem)
    : fileSystem(fileSystem), fileNameGenerator(fileNameGenerator), converter(converter)
{
    const QString name = QString::fromStdString(fileNameGenerator->GenerateFileName());
    const QString parent = QString::fromStdString(fileSystem->GetTempFolder().utf8string());
    tempFolder = parent + QStringLiteral("/PDFConverter") + name;
    tempFolderPath = ToIoPath(tempFolder);

    // All that takes memory comes before the folder, which nobody would remove otherwise.
    const std::string text = tempFolder.toStdString();
    const bool ready =
        fileSystem->Exists(tempFolderPath) || fileSystem->CreateFolder(tempFolderPath);
    VLOG(30) << inImpl << "temp folder: " << text << " exists: " << ready;
}

void TempFileWrapper::Impl::RemoveTempFolder()
{
    const bool removed = fileSystem->RemoveFolder(tempFolderPath);
    VLOG(30) << inImplDestructor << "temp folder: " << tempFolderPath << " removed: " << removed;
}

std::optional<QString> TempFileWrapper::Impl::FindDestination(const Impl* impl,
                                                              const QString& source)
{
    if (!impl)
        return std::nullopt;
    const auto info = impl->filesInfo.find(source);
    if (info == impl->filesInfo.end())
        return std::nullopt;
    return info->second.second;
}

QString TempFileWrapper::Impl::MoveFileFromTmp(const QString& from, QString to)
{
    const QString suffix = QFileInfo(from).suffix();
    if (QFileInfo(to).suffix() != suffix)
        to += QLatin1Char('.') + suffix;

    if (fileSystem->Exists(ToIoPath(to))) {
        const QFileInfo wanted(to);
        // The name goes in as it is: the pattern's special characters in it are not escaped.
        const std::regex numbered(wanted.completeBaseName().toStdString() + R"(\((\d+)\)\.)" +
                                      wanted.suffix().toStdString(),
                                  std::regex::ECMAScript | std::regex::icase);
        const std::string index = Util::GetNextAvaliableIndex(ToIoPath(wanted.path()), numbered);
        to = QDir(wanted.path() + QLatin1Char('/') + wanted.completeBaseName() + QLatin1Char('(') +
                  QString::fromStdString(index) + QStringLiteral(").") + wanted.suffix())
                 .path();
    }

    if (fileSystem->Move(ToIoPath(from), ToIoPath(to)))
        return to;
    VLOG(30) << inMoveFileFromTmp << "Cannot move from: " << from.toStdString() << " to "
             << to.toStdString() << ". Possibly file already exists";
    return {};
}

TempFileWrapper::TempFileWrapper(const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
                                 const std::shared_ptr<AbstractConverter>& inner,
                                 const std::shared_ptr<IFileSystem>& fileSystem)
    : impl(new Impl(fileNameGenerator, inner, fileSystem))
{
    auto removal = qScopeGuard([this] { impl->RemoveTempFolder(); });
    const AbstractConverter* const sender = inner.get();
    connect(sender, &AbstractConverter::UploadProgress, this, &AbstractConverter::UploadProgress);
    connect(sender, &AbstractConverter::DownloadProgress, this,
            &AbstractConverter::DownloadProgress);
    connect(sender, &AbstractConverter::ConvertationStarted, this,
            &AbstractConverter::ConvertationStarted);
    connect(sender, &AbstractConverter::ConvertationProgress, this,
            &AbstractConverter::ConvertationProgress);
    connect(sender, &AbstractConverter::ConvertationFinished, this,
            &AbstractConverter::ConvertationFinished);
    connect(sender, &AbstractConverter::Failed, this, &AbstractConverter::Failed);

    // In both handlers the emission comes last and uses locals only: a receiver may end the same
    // task again, start it anew or delete this wrapper, and the sender's string may die.
    connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QString& resultFile) {
                const QString task = source;
                const auto destination = Impl::FindDestination(impl.get(), task);
                if (!destination) {
                    LOG(ERROR) << Q_FUNC_INFO << ": "
                               << " Cannot find info for file: " << resultFile.toStdString()
                               << "; Original file: " << task.toStdString();
                    return;
                }
                const QString moved = impl->MoveFileFromTmp(resultFile, *destination);
                impl->filesInfo.erase(task);
                Q_EMIT Finished(task, moved);
            });
    connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
            [this](const QString& source, const QStringList& resultFiles) {
                const QString task = source;
                const auto destination = Impl::FindDestination(impl.get(), task);
                if (!destination) {
                    LOG(ERROR) << Q_FUNC_INFO << ": "
                               << " Cannot find info for files: " << resultFiles.size()
                               << "; Original file: " << task.toStdString();
                    return;
                }
                // No separator between the two, and an empty list for the caller: both are meant.
                const QFileInfo wanted(*destination);
                const QString target = wanted.dir().path() + wanted.fileName();
                for (const QString& file : resultFiles)
                    impl->MoveFileFromTmp(file, target);
                impl->filesInfo.erase(task);
                Q_EMIT Finished(task, QStringList());
            });
    removal.dismiss();
}

TempFileWrapper::~TempFileWrapper()
{
    // The record stands meanwhile: the file system may call back, and what ends then is moved.
    impl->RemoveTempFolder();
    // The pointer is empty before the record's members go: an inner converter that emits from its
    // destructor meets handlers that find no record.
    impl.reset();
}

bool TempFileWrapper::ConvertFile(const Task& task)
{
    const QString suffix = QFileInfo(task.destination).suffix();
    const QString name = QString::fromStdString(impl->fileNameGenerator->GenerateFileName());
    // Without a suffix the name ends in the dot.
    const QString tempFile = impl->tempFolder + QLatin1Char('/') + name + QLatin1Char('.') + suffix;

    impl->filesInfo.try_emplace(task.source, task.source, task.destination);
    Task redirected = task;
    redirected.destination = tempFile;
    VLOG(30) << inConvertFile << " For: " << task.source.toStdString()
             << " using tmp file: " << tempFile.toStdString();

    // A share of its own: a receiver may delete this wrapper before the call has returned.
    const std::shared_ptr<AbstractConverter> converter = impl->converter;
    return converter->ConvertFile(redirected);
}

bool TempFileWrapper::CancelConvertation()
{
    const std::shared_ptr<AbstractConverter> converter = impl->converter;
    return converter->CancelConvertation();
}

std::map<QString, QStringList> TempFileWrapper::GetSupportedFormats() const
{
    return impl->converter->GetSupportedFormats();
}

bool TempFileWrapper::DoesServiceAvailable()
{
    return impl->converter->DoesServiceAvailable();
}

} // namespace Korvel::PDF::Converter
