#pragma once

#include "AbstractConverter.h"
#include "ConvertWrappersExport.h"

#include <memory>

namespace Korvel::PDF {
class IFileNameGenerator;
class IFileSystem;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

/**
 * Lets the inner converter write into a private temporary folder, and moves each result to where
 * the caller wants it.
 *
 * The folder is "PDFConverter" and a generated name, below the file system's temporary folder; it
 * is made at construction and removed with the wrapper. A result takes the suffix of the file that
 * the inner converter made, and a numbered name such as report(2).pdf where the wanted one exists.
 *
 *     auto wrapper = std::make_shared<TempFileWrapper>(names, converter, fileSystem);
 *
 * Ownership: the wrapper shares the inner converter and the services, and has no parent. When it
 * holds their last share they are destroyed with it, the inner converter before the services.
 *
 * Signals: all eight of the inner converter are re-emitted as they came, but for the two Finished:
 * - one result: the path in it is the final one, or empty when the result could not be moved.
 * - a list: every result is sent towards one target, which is the folder of the wanted path
 *   followed directly by its file name (/out/page.png gives /outpage.png), and the list emitted is
 *   always empty. Both are meant.
 * - a source that is not in flight: an error in the log, and nothing is emitted.
 *
 * A source that is given again before its result has come keeps the first task's destination; so
 * does one whose task was refused or failed. `std::regex_error` leaves the handler of a result when
 * the wanted file exists and its name is not a valid regular expression. One that is valid and
 * nests repetitions, as "(a*)*b.png" does, can take long, the longer the names in its folder are.
 *
 * Thread: used on the thread that owns it. Receivers may delete the wrapper in a slot.
 */
class CONVERTWRAPPERS_EXPORT TempFileWrapper : public AbstractConverter
{
    Q_OBJECT

public:
    /**
     * Makes the temporary folder and connects the inner converter's signals.
     *
     * No pointer may be null. A folder that cannot be made shows in the log only; the conversions
     * then fail as the inner converter finds it missing.
     */
    TempFileWrapper(const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
                    const std::shared_ptr<AbstractConverter>& inner,
                    const std::shared_ptr<IFileSystem>& fileSystem);

    /**
     * Removes the temporary folder, also with tasks in flight; those end without a signal.
     *
     * The wrapper works until the file system has removed the folder: it answers when that calls
     * back meanwhile, and moves and reports what ends then. A result that comes later, as from the
     * inner converter's destructor, is one of no task in flight.
     */
    ~TempFileWrapper() override;

    /** Starts the inner conversion into the temporary folder; the inner converter's answer. */
    bool ConvertFile(const Task& task) override;

    /** The inner converter's answer. */
    bool CancelConvertation() override;

    /** The inner converter's answer. */
    std::map<QString, QStringList> GetSupportedFormats() const override;

    /** The inner converter's answer. */
    bool DoesServiceAvailable() override;

private:
    Q_DISABLE_COPY_MOVE(TempFileWrapper)

    struct CONVERTWRAPPERS_NO_EXPORT Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF::Converter
