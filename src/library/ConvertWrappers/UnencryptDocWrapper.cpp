#include "UnencryptDocWrapper.h"

#include "IFileNameGenerator.h"
#include "IFileSystem.h"
#include "IPDFProvider.h"

#include <optional>
#include <utility>

#include <QPointer>

#include <glog/logging.h>

namespace Korvel::PDF::Converter {

namespace {

// Written out: __func__ leaves the scopes away, and __PRETTY_FUNCTION__ adds result and arguments.
constexpr char inConvertFile[] = "Korvel::PDF::Converter::UnencryptDocWrapper::ConvertFile: ";

} // namespace

struct UnencryptDocWrapper::Impl
{
    class EndOfTask;

    /** The caller's source for a copy in flight; none, too, while the record is being destroyed. */
    static std::optional<QString> FindSource(const Impl* impl, const QString& copy);

    std::shared_ptr<IFileNameGenerator> fileNameGenerator;
    std::shared_ptr<AbstractConverter> converter;
    std::shared_ptr<IPDFProvider> pdfProvider;
    std::shared_ptr<IFileSystem> fileSystem;
    /** Copies in flight: path of the copy -> the caller's source. */
    std::map<QString, QString> unencryptedFiles;
};

/**
 * The end of one task. Deletes the copy and drops its entry when it goes out of scope, so after the
 * emission and also when a receiver throws; needs no wrapper for that, as a receiver may delete it.
 */
class UnencryptDocWrapper::Impl::EndOfTask
{
public:
    EndOfTask(UnencryptDocWrapper* wrapper, const QString& path, const char* handler)
        : wrapper(wrapper),
          handler(handler),
          path(path),
          source(FindSource(wrapper->impl.get(), path)),
          text(source ? path.toStdString() : std::string()),
          file(text)
    {
    }

    ~EndOfTask()
    {
        if (!source)
            return;
        VLOG(30) << handler << ": Removing: " << text;
        ioPath::remove(file);
        if (wrapper && wrapper->impl)
            wrapper->impl->unencryptedFiles.erase(path);
    }

    /** The path to report: the caller's source, or for a path that is no copy the path itself. */
    const QString& ReportedPath() const { return source ? *source : path; }

private:
    Q_DISABLE_COPY_MOVE(EndOfTask)

    const QPointer<UnencryptDocWrapper> wrapper;
    const char* const handler;
    const QString path;
    const std::optional<QString> source;
    /** The copy's path; made here, since the destructor must not need memory. */
    const std::string text;
    const ioPath file;
};

std::optional<QString> UnencryptDocWrapper::Impl::FindSource(const Impl* impl, const QString& copy)
{
    if (!impl)
        return std::nullopt;
    const auto entry = impl->unencryptedFiles.find(copy);
    if (entry == impl->unencryptedFiles.end())
        return std::nullopt;
    return entry->second;
}

UnencryptDocWrapper::UnencryptDocWrapper(
    const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
    const std::shared_ptr<AbstractConverter>& inner,
    const std::shared_ptr<IPDFProvider>& pdfProvider,
    const std::shared_ptr<IFileSystem>& fileSystem)
    : impl(new Impl{fileNameGenerator, inner, pdfProvider, fileSystem, {}})
{
    // A copy, too, where nothing is translated: the sender's string may die during the emission.
    const auto reported = [this](const QString& path) {
        return Impl::FindSource(impl.get(), path).value_or(path);
    };

    const AbstractConverter* const sender = inner.get();
    connect(sender, &AbstractConverter::UploadProgress, this,
            [this, reported](const QString& path, qint64 sent, qint64 total) {
                const QString source = reported(path);
                Q_EMIT UploadProgress(source, sent, total);
            });
    connect(sender, &AbstractConverter::DownloadProgress, this,
            [this, reported](const QString& path, qint64 received, qint64 total) {
                const QString source = reported(path);
                Q_EMIT DownloadProgress(source, received, total);
            });
    connect(sender, &AbstractConverter::ConvertationStarted, this,
            [this, reported](const QString& path) {
                const QString source = reported(path);
                Q_EMIT ConvertationStarted(source);
            });
    connect(sender, &AbstractConverter::ConvertationProgress, this,
            [this, reported](const QString& path, double progress) {
                const QString source = reported(path);
                Q_EMIT ConvertationProgress(source, progress);
            });
    connect(sender, &AbstractConverter::ConvertationFinished, this,
            [this, reported](const QString& path) {
                const QString source = reported(path);
                Q_EMIT ConvertationFinished(source);
            });

    connect(sender, &AbstractConverter::Failed, this, [this](const QString& path, ErrorType error) {
        const Impl::EndOfTask end(this, path, Q_FUNC_INFO);
        Q_EMIT Failed(end.ReportedPath(), error);
    });
    connect(sender, qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
            [this](const QString& path, const QString& resultFile) {
                const Impl::EndOfTask end(this, path, Q_FUNC_INFO);
                Q_EMIT Finished(end.ReportedPath(), resultFile);
            });
    connect(sender, qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
            [this](const QString& path, const QStringList& resultFiles) {
                const Impl::EndOfTask end(this, path, Q_FUNC_INFO);
                Q_EMIT Finished(end.ReportedPath(), resultFiles);
            });
}

UnencryptDocWrapper::~UnencryptDocWrapper()
{
    // These go while the record stands, in its order: a service may call back from its destructor.
    impl->unencryptedFiles.clear();
    impl->fileSystem.reset();
    impl->pdfProvider.reset();
    // The pointer is empty before the rest goes: an inner converter that emits from its destructor
    // meets handlers that find no record.
    impl.reset();
}

bool UnencryptDocWrapper::ConvertFile(const Task& task)
{
    // A share of its own: a receiver may delete this wrapper before the inner call has returned.
    const std::shared_ptr<AbstractConverter> converter = impl->converter;
    const auto& options = task.options;
    if (options.find("need_export") == options.end())
        return converter->ConvertFile(task);

    const QString source = task.source;
    const std::string sourceText = source.toStdString();
    const QString stem = QString::fromStdString(impl->fileNameGenerator->GenerateFileName());
    const QString folder = QString::fromStdString(impl->fileSystem->GetTempFolder().utf8string());
    const QString copy = folder + QLatin1Char('/') + stem + QStringLiteral(".pdf");
    const std::string copyText = copy.toStdString();

    std::string password;
    if (const auto option = options.find("password"); option != options.end())
        password = std::any_cast<std::string>(option->second);

    // These take their memory before the document and the copy, of which nobody else knows.
    const ioPath sourceFile(sourceText);
    const ioPath copyFile(copyText);
    std::map<QString, QString> entry{{copy, source}};

    const DocumentHandle document = impl->pdfProvider->OpenDocument(sourceFile, password).get();
    VLOG(30) << inConvertFile << "Unencrypying: " << sourceText << " to: " << copyText
             << (password.empty() ? " without" : " with") << " using password";
    if (document.id < 0) {
        VLOG(30) << inConvertFile << "Cannot open: " << sourceText;
        return false;
    }

    std::future<bool> saved = impl->pdfProvider->SaveDocument(document, copyFile);
    saved.wait();
    // Goes ahead without its future, and before the save's answer is looked at.
    impl->pdfProvider->CloseDocument(document);
    if (!saved.get()) {
        VLOG(30) << inConvertFile << "Cannot save: " << sourceText << " to: " << copyText;
        return false;
    }
    VLOG(30) << inConvertFile << "File: " << sourceText
             << " unencrypted and saved to: " << copyText;

    // Copied only now, as the caller has it now. When that throws, the copy of the document stays,
    // as after a refusal.
    Task inner = task;
    inner.source = copy;
    impl->unencryptedFiles.merge(entry);
    return converter->ConvertFile(inner);
}

bool UnencryptDocWrapper::CancelConvertation()
{
    const std::shared_ptr<AbstractConverter> converter = impl->converter;
    return converter->CancelConvertation();
}

std::map<QString, QStringList> UnencryptDocWrapper::GetSupportedFormats() const
{
    return impl->converter->GetSupportedFormats();
}

bool UnencryptDocWrapper::DoesServiceAvailable()
{
    return impl->converter->DoesServiceAvailable();
}

} // namespace Korvel::PDF::Converter
