#include "PageMaker.h"

#include "LocalFileSystem.h"
#include "PageFanOut.h"
#include "SessionFolder.h"
#include "TempFileWrapper.h"
#include "UnencryptDocWrapper.h"
#include "UuidFileNameGenerator.h"
#include "WorkerConverter.h"

#include <algorithm>

#include <QFile>
#include <QFileInfo>
#include <QThread>

using namespace Korvel::PDF;
using namespace Korvel::PDF::Converter;

/** More pictures would take more memory than they are worth. */
static constexpr int mostPages = 500;

static WorkerSettings Settings(const SessionFolder& session)
{
    WorkerSettings settings;
    settings.folder = QString::fromStdString(session.Path()); // a worker writes nowhere else
    return settings;
}

PageMaker::PageMaker(std::shared_ptr<const SessionFolder> session, const QString& file,
                     const QSize& box)
    : session(std::move(session)),
      file(file),
      box(box),
      settings(Settings(*this->session)),
      provider(std::make_shared<WorkerPdfProvider>(settings))
{
}

PageMaker::~PageMaker() = default;

void PageMaker::Open(const std::string& password)
{
    const DocumentHandle document = provider->OpenDocument(file.toStdString(), password).get();
    const auto info = provider->Describe(document);
    if (!info) {
        TellWhyNotOpened();
        return;
    }
    provider->CloseDocument(document);
    const int shown = std::min(info->pages, mostPages);
    Q_EMIT Opened(info->pages, shown);
    if (shown > 0)
        Convert(password, shown);
    else
        Q_EMIT Finished();
}

void PageMaker::TellWhyNotOpened()
{
    if (isStopped) {
        Q_EMIT Stopped();
        return;
    }
    switch (provider->WhyOpenFailed(file.toStdString())) {
    case OpenFailure::NoPassword:
        Q_EMIT PasswordNeeded(false);
        return;
    case OpenFailure::WrongPassword:
        Q_EMIT PasswordNeeded(true);
        return;
    case OpenFailure::Unreadable:
        Q_EMIT Failed(tr("The file is missing or may not be read."));
        return;
    case OpenFailure::Empty:
    case OpenFailure::NotAPdf:
        Q_EMIT Failed(tr("The file is no PDF."));
        return;
    case OpenFailure::Damaged:
        Q_EMIT Failed(tr("The document is damaged and cannot be repaired."));
        return;
    case OpenFailure::UnsupportedEncryption:
        Q_EMIT Failed(tr("The document is encrypted in a way that is not supported."));
        return;
    default:
        Q_EMIT Failed(tr("The document cannot be opened."));
    }
}

void PageMaker::MakeChain()
{
    const auto names = std::make_shared<UuidFileNameGenerator>();
    const auto files = std::make_shared<LocalFileSystem>(session);
    const auto makeChain = [this, names, files] {
        const auto page = std::make_shared<TempFileWrapper>(
            names, std::make_shared<WorkerConverter>(settings), files);
        // The chain as a whole tells of the pictures when all of them are there.
        connect(page.get(), qOverload<const QString&, QString>(&AbstractConverter::Finished), this,
                [this](const QString&, const QString& picture) { TakePicture(picture); });
        return page;
    };
    const auto pages =
        std::make_shared<PageFanOut>(makeChain, std::max(QThread::idealThreadCount(), 1));
    chain = std::make_unique<UnencryptDocWrapper>(names, pages, provider, files);
    connect(chain.get(), &AbstractConverter::ConvertationProgress, this,
            [this](const QString&, double progress) { Q_EMIT Progressed(progress); });
    connect(chain.get(), &AbstractConverter::Failed, this,
            [this](const QString&, AbstractConverter::ErrorType error) { TellWhyFailed(error); });
    connect(chain.get(), qOverload<const QString&, QStringList>(&AbstractConverter::Finished), this,
            [this](const QString&, const QStringList& pictures) {
                // Pictures that could not be put in their place have an empty path.
                if (pictures.contains(QString()))
                    Q_EMIT Failed(tr("Not all pages could be written. Is the disk full?"));
                else
                    Q_EMIT Finished();
            });
}

void PageMaker::Convert(const std::string& password, int pages)
{
    MakeChain();
    std::vector<PageFanOut::PageTask> tasks;
    for (int page = 1; page <= pages; ++page)
        tasks.push_back({page, QStringLiteral("%1/%2.png").arg(settings.folder).arg(page)});
    AbstractConverter::Task task;
    task.source = file;
    task.options = {
        {"need_export", true}, {"password", password}, {"size", box}, {"page_tasks", tasks}};
    if (chain->ConvertFile(task))
        return;
    if (isStopped)
        Q_EMIT Stopped();
    else
        Q_EMIT Failed(tr("The document cannot be read as a whole."));
}

void PageMaker::TakePicture(const QString& path)
{
    if (path.isEmpty())
        return;
    const QImage picture(path);
    QFile::remove(path);
    Q_EMIT PageMade(QFileInfo(path).baseName().toInt(), picture);
}

void PageMaker::TellWhyFailed(AbstractConverter::ErrorType error)
{
    switch (error) {
    case AbstractConverter::Cancelled:
        Q_EMIT Stopped();
        return;
    case AbstractConverter::TimedOut:
        Q_EMIT Failed(tr("A page takes too long to be shown."));
        return;
    case AbstractConverter::OutOfMemory:
        Q_EMIT Failed(tr("A page takes too much memory to be shown."));
        return;
    default:
        Q_EMIT Failed(tr("A page cannot be shown."));
    }
}

void PageMaker::Stop()
{
    isStopped = true;
    provider->Shutdown();
    QMetaObject::invokeMethod(this, [this] {
        if (chain)
            chain->CancelConvertation();
    });
}
