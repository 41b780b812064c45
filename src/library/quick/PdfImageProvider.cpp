#include "PdfImageProvider.h"

#include "PdfConverter.h"
#include "ToImage.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include <QFutureWatcher>
#include <QImage>

namespace Korvel::PDF::Converter {

namespace {

using Future = QFuture<ConversionResult>;

/** A page on its way to the scene. */
class PageResponse : public QQuickImageResponse
{
public:
    explicit PageResponse(const Future& future) : future(future)
    {
        connect(&watcher, &QFutureWatcherBase::finished, this, [this] { TakePage(); });
        watcher.setFuture(future);
    }

    /** The response for a page that cannot be asked for. */
    explicit PageResponse(const QString& error) : error(error)
    {
        QMetaObject::invokeMethod(this, &QQuickImageResponse::finished, Qt::QueuedConnection);
    }

    QQuickTextureFactory* textureFactory() const override
    {
        return image.isNull() ? nullptr : QQuickTextureFactory::textureFactoryForImage(image);
    }

    QString errorString() const override { return error; }

    void cancel() override { future.cancel(); }

private:
    void TakePage()
    {
        if (future.resultCount() == 0) {
            error = QStringLiteral("the page is not wanted any more");
        } else {
            const ConversionResult result = future.result();
            error = result.errorText;
            if (!result.pages.empty())
                image = ToImage(result.pages.front().picture);
        }
        Q_EMIT finished(); // which ends this
    }

    Future future;
    QFutureWatcher<ConversionResult> watcher;
    QImage image;
    QString error;
};

/** Fits a page into a size of which either side may be missing. */
void FitInto(const QSize& size, PictureOptions& pictures)
{
    const QSize wanted = size.expandedTo(QSize(0, 0));
    if (wanted.width() == 0 && wanted.height() == 0)
        return;
    pictures.size = wanted;
    pictures.resolution.reset();
}

} // namespace

struct PdfImageProvider::Impl
{
    struct Shown
    {
        QString document;
        std::shared_ptr<const OpenedDocument> opened;
        PictureOptions pictures;
    };

    explicit Impl(PdfConverter& converter) : converter(converter) {}

    std::optional<Shown> Find(const QString& name)
    {
        const std::lock_guard lock(mutex);
        const auto found = documents.find(name);
        return found == documents.end() ? std::nullopt : std::optional(found->second);
    }

    PdfConverter& converter;
    std::mutex mutex;
    std::map<QString, Shown> documents;
};

PdfImageProvider::PdfImageProvider(PdfConverter& converter) : impl(new Impl(converter)) {}

PdfImageProvider::~PdfImageProvider() = default;

void PdfImageProvider::Show(const QString& name, const QString& document,
                            std::shared_ptr<const OpenedDocument> opened,
                            const PictureOptions& pictures)
{
    const std::lock_guard lock(impl->mutex);
    impl->documents[name] = {document, std::move(opened), pictures};
}

void PdfImageProvider::Forget(const QString& name)
{
    const std::lock_guard lock(impl->mutex);
    impl->documents.erase(name);
}

QQuickImageResponse* PdfImageProvider::requestImageResponse(const QString& id, const QSize& size)
{
    const auto slash = id.lastIndexOf(QLatin1Char('/'));
    const QString name = id.left(slash);
    const int page = id.mid(slash + 1).toInt();
    const std::optional<Impl::Shown> shown = impl->Find(name);
    if (!shown || page < 1)
        return new PageResponse(QStringLiteral("there is no page to show of that name: ") + id);
    ConversionRequest request;
    request.document = shown->document;
    request.opened = shown->opened;
    request.pages = {{page}};
    request.isInMemory = true;
    request.format = QStringLiteral("pixels");
    request.pictures = shown->pictures;
    FitInto(size, request.pictures);
    return new PageResponse(impl->converter.Convert(request));
}

} // namespace Korvel::PDF::Converter
