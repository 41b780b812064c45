#pragma once

#include "ConversionRequest.h"
#include "ConversionResult.h"
#include "ConverterServicesExport.h"

#include <memory>
#include <optional>

#include <QObject>
#include <QString>

namespace Korvel::PDF::Converter {

class PdfConverter;

/**
 * The conversion of one document by a PdfConverter, with signals of its course.
 *
 *     PdfConversion conversion(converter, {"/docs/report.pdf", "/out/page.png"});
 *     connect(&conversion, &PdfConversion::PageFinished, this, &Window::ShowPage);
 *     connect(&conversion, &PdfConversion::Ended, this, &Window::ShowEnd);
 *     conversion.Start();
 *
 * A page that fails is left away, unless the request says otherwise. Receivers may destroy the
 * conversion, which cancels it, and start it anew when it has ended.
 *
 * Used on the thread that owns it, whose event loop must run: all signals are emitted from there.
 */
class CONVERTERSERVICES_EXPORT PdfConversion : public QObject
{
    Q_OBJECT

public:
    /**
     * Starts nothing yet.
     *
     * @param converter  when it is destroyed, the conversion ends with `Cancelled`
     * @param request    what is to be made of which document
     * @param parent     the object that owns this one; null for none
     */
    PdfConversion(PdfConverter& converter, ConversionRequest request, QObject* parent = nullptr);

    /** Cancels what is running, without a signal. */
    ~PdfConversion() override;

    /**
     * Starts the conversion; Ended follows, from the event loop.
     *
     * @return false, and nothing follows, when it is running already
     */
    bool Start();

    /**
     * Asks the conversion to end, in whatever it is: also while it waits for others, its document
     * is being opened, or a password is asked for. Ended follows with `Cancelled`, unless it was
     * about to end anyway. Pages that are finished stay. Nothing happens when none is running.
     */
    void Cancel();

    /** Whether it was started, and Ended is still to come. */
    bool IsRunning() const;

    /** What it was made for. */
    const ConversionRequest& Request() const;

    /** What has come of it when it has ended; before, what was told so far. */
    const ConversionResult& Result() const;

    /** Why it has failed; nothing when it has not. */
    std::optional<AbstractConverter::ErrorType> Error() const { return Result().error; }

    /** What to tell people of that, in English, which names the document; empty for nothing. */
    QString ErrorText() const { return Result().errorText; }

Q_SIGNALS:
    /** How far it is, from 0 to 1, and never back. */
    void Progress(double part);

    /** The document is open, and this is what it says of itself. Once at most. */
    void Opened(const Korvel::PDF::DocumentInfo& document);

    /**
     * A result is whole, where it is wanted in memory. Once for each, in the order in which they
     * are made.
     *
     * @param page   from 1; 0 for the document as a whole
     * @param bytes  what a file would hold; QImage::fromData makes a picture of it
     */
    void PageMade(int page, const QByteArray& bytes);

    /**
     * The picture of a page is there, where `pixels` are wanted in memory. Once for each, in the
     * order in which they are made.
     *
     * @param page     from 1
     * @param picture  not null; ToImage (ToImage.h) makes a QImage of it
     */
    void PictureMade(int page, const Korvel::PDF::Converter::PagePicture& picture);

    /**
     * A result is whole, and in its place. Once for each, in the order in which they are made.
     *
     * @param page  from 1; 0 for the document as a whole
     * @param path  where it lies
     */
    void PageFinished(int page, const QString& path);

    /**
     * A page is left away. Once for each.
     *
     * @param page   from 1; 0 for the document as a whole
     * @param error  why it failed
     * @param text   what to tell people of it, which names document and page
     */
    void PageFailed(int page, Korvel::PDF::Converter::AbstractConverter::ErrorType error,
                    const QString& text);

    /**
     * There is something that the user should know.
     *
     * @param warning  of what it is
     * @param text     what to tell people of it, which names the document
     */
    void Warned(Korvel::PDF::Converter::ConversionResult::Warning warning, const QString& text);

    /** It has ended, as Result tells. Once for each start, and after all other signals. */
    void Ended();

private:
    Q_DISABLE_COPY_MOVE(PdfConversion)

    struct CONVERTERSERVICES_NO_EXPORT Impl;
    const std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF::Converter

Q_DECLARE_METATYPE(Korvel::PDF::DocumentInfo)
