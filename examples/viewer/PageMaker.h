#pragma once

#include "AbstractConverter.h"
#include "WorkerPdfProvider.h"

#include <atomic>
#include <memory>

#include <QImage>
#include <QSize>

namespace Korvel::PDF {
class SessionFolder;
}

/**
 * Makes pictures of the pages of one document.
 *
 * It may be moved to a thread of its own, where it belongs: Open blocks while the document is
 * opened and while the unencrypted copy is made. All its signals are emitted there.
 */
class PageMaker : public QObject
{
    Q_OBJECT

public:
    /**
     * @param session  of this document alone: the copy and the pictures lie there
     * @param file     the document
     * @param box      the pixels into which every picture is to fit
     */
    PageMaker(std::shared_ptr<const Korvel::PDF::SessionFolder> session, const QString& file,
              const QSize& box);

    /** Ends the work; nothing is emitted. */
    ~PageMaker() override;

    /**
     * Opens the document and starts on its pages.
     *
     * @param password  UTF-8; empty for none. May be called again after PasswordNeeded
     */
    void Open(const std::string& password);

    /** Ends the work for good, and frees a thread that Open has blocked. On any thread. */
    void Stop();

Q_SIGNALS:
    /** @param isWrong  there was one, and it does not open the document */
    void PasswordNeeded(bool isWrong);

    /** The document is open: so many pages it has, and the first so many of them come. */
    void Opened(int pages, int shown);

    /** @param page  from 1 */
    void PageMade(int page, const QImage& picture);

    /** From 0 to 1. */
    void Progressed(double progress);

    /** All pages have come. */
    void Finished();

    /** No further page comes. */
    void Stopped();
    void Failed(const QString& message);

private:
    using AbstractConverter = Korvel::PDF::Converter::AbstractConverter;

    void TellWhyNotOpened();
    void MakeChain();
    void Convert(const std::string& password, int pages);
    void TakePicture(const QString& path);
    void TellWhyFailed(AbstractConverter::ErrorType error);

    const std::shared_ptr<const Korvel::PDF::SessionFolder> session;
    const QString file;
    const QSize box;
    const Korvel::PDF::WorkerSettings settings;
    const std::shared_ptr<Korvel::PDF::WorkerPdfProvider> provider;
    std::unique_ptr<AbstractConverter> chain;
    std::atomic<bool> isStopped{false};
};
