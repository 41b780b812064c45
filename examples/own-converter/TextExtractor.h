#pragma once

#include "AbstractConverter.h"

#include <optional>

#include <QProcess>

/**
 * Extracts the text of unencrypted PDFs by the program pdftotext, a process for each task.
 *
 * Knows nothing of passwords, and pdftotext replaces what is put at the destination meanwhile: the
 * wrappers around it see to both.
 */
class TextExtractor : public Korvel::PDF::Converter::AbstractConverter
{
    Q_OBJECT

public:
    TextExtractor() = default;

    /** Ends the processes; tasks in hand end without a signal. */
    ~TextExtractor() override;

    /** Refuses a source that is in hand, results that are no text, and files that are there. */
    bool ConvertFile(const Task& task) override;

    /** Every task in hand ends with Failed and `Cancelled`, from the event loop. */
    bool CancelConvertation() override;

    std::map<QString, QStringList> GetSupportedFormats() const override;
    bool DoesServiceAvailable() override;

private:
    Q_DISABLE_COPY_MOVE(TextExtractor)

    struct Work
    {
        QString destination;
        QProcess* process;
        bool isCancelled;
    };

    void Follow(const QProcess* process, const QString& source);
    std::optional<ErrorType> WhyFailed(const Work& work) const;
    void End(const QString& source);

    /** Tasks in hand by their source. */
    std::map<QString, Work> works;
};
