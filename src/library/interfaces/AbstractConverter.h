#pragma once

#include "PDFInterfacesExport.h"

#include <any>
#include <map>
#include <string>

#include <QObject>
#include <QString>
#include <QStringList>

namespace Korvel::PDF::Converter {

/**
 * The interface of every document converter, and of every wrapper around one.
 *
 * A converter accepts a request through ConvertFile, answers at once whether it started, and
 * reports the course and the outcome through signals. The first argument of every signal is the
 * task's `source`, exactly as it stood in the task: it is the only link between a signal and its
 * task, so two tasks with one source must not be in flight at once through one converter.
 *
 *     connect(&converter, qOverload<const QString&, QString>(&AbstractConverter::Finished),
 *             this, [](const QString& source, QString resultFile) { ... });
 *     AbstractConverter::Task task;
 *     task.source = "/docs/report.pdf";
 *     task.destination = "/docs/report.png";
 *     if (!converter.ConvertFile(task)) { ... } // not started; no signal follows
 *
 * For an accepted task a converter emits any number of ConvertationStarted, ConvertationProgress,
 * UploadProgress, DownloadProgress and ConvertationFinished, and exactly one of the two Finished or
 * Failed. They may come before ConvertFile has returned.
 *
 * The operations are called on the thread that owns the object. Signals may be emitted on any
 * thread; an automatic connection delivers them on the receiver's.
 */
class PDFINTERFACES_EXPORT AbstractConverter : public QObject
{
    Q_OBJECT

public:
    /** A conversion to do. A plain value. */
    struct Task
    {
        /** Interpreted by the converter that does the work alone; wrappers copy it. */
        QString type;

        /** Path of the file to convert, and the identity of the task in every signal. */
        QString source;

        /** Path of the wanted result; its suffix tells which kind of file the result is. */
        QString destination;

        /**
         * Options by UTF-8 name. The wrappers of this library read two: "need_export" (present
         * with any value: convert an unencrypted copy) and "password" (a `std::string`, UTF-8).
         */
        std::map<std::string, std::any> options;
    };

    /**
     * Why a task failed. Open-ended: converters may emit values of their own beyond these, and
     * receivers must accept any value. Wrappers pass it on as it came.
     */
    enum ErrorType : int {
        Unknown,                 ///< none of the others
        CannotOpenSource,        ///< the source is missing, unreadable, damaged or of another kind
        PasswordRequiredOrWrong, ///< the source is encrypted and no or a wrong password was given
        CannotRender,      ///< the source was opened, but the result could not be made from it
        CannotWrite,       ///< the result could not be written
        Cancelled,         ///< CancelConvertation ended the task
        TimedOut,          ///< the task took longer than it was given
        OutOfMemory,       ///< the task needed more memory than it was given
        UnsupportedFormat, ///< the wanted kind of result is not one that the converter makes
        SourceChanged,     ///< the source was changed by somebody while it was read
        ResultTooLarge,    ///< the result is larger than is allowed
        Unconfined,        ///< the machine lacks what the converter is to be confined by
        InvalidOption      ///< an option of the task is unknown, or its value of another type
    };
    Q_ENUM(ErrorType)

    /** Makes ErrorType known to the meta-type system, so that Failed crosses threads. */
    AbstractConverter();
    ~AbstractConverter() override;

    /**
     * Starts the conversion that `task` describes, and returns at once.
     *
     * @return true when the task was accepted: its outcome arrives through the signals. False when
     *         it was not started: no terminal signal follows.
     */
    virtual bool ConvertFile(const Task& task) = 0;

    /**
     * Asks the converter to stop everything that it has in hand.
     *
     * @return whether it could be asked; tasks that were accepted still end by a terminal signal.
     */
    virtual bool CancelConvertation() = 0;

    /** The formats that the converter handles: for each kind of source the kinds of result. */
    virtual std::map<QString, QStringList> GetSupportedFormats() const = 0;

    /** Whether the converter can work at present. */
    virtual bool DoesServiceAvailable() = 0;

Q_SIGNALS:
    /** The conversion of the task with this source has begun. */
    void ConvertationStarted(const QString& source);

    /** How far that conversion is; the converters of this project count from 0 to 1. */
    void ConvertationProgress(const QString& source, double progress);

    /** That conversion has come to its end; the task's terminal signal is still to come. */
    void ConvertationFinished(const QString& source);

    /**
     * The task has succeeded with one file. Terminal.
     *
     * An empty `resultFile` says that a result was made and could not be put in its place.
     */
    void Finished(const QString& source, QString resultFile);

    /** The task has succeeded with the files listed. Terminal. */
    void Finished(const QString& source, QStringList resultFiles);

    /** The task has failed. Terminal. */
    void Failed(const QString& source, ErrorType error);

    /** Bytes received so far and in all, for converters that fetch something. */
    void DownloadProgress(const QString& source, qint64 received, qint64 total);

    /** Bytes sent so far and in all, for converters that send something. */
    void UploadProgress(const QString& source, qint64 sent, qint64 total);
};

} // namespace Korvel::PDF::Converter
