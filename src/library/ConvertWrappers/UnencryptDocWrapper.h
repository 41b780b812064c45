#pragma once

#include "AbstractConverter.h"
#include "ConvertWrappersExport.h"

#include <memory>

namespace Korvel::PDF {
class IFileNameGenerator;
class IFileSystem;
class IPDFProvider;
} // namespace Korvel::PDF

namespace Korvel::PDF::Converter {

/**
 * Hands the inner converter an unencrypted copy of the source, reports everything under the
 * caller's path, and deletes the copy when the task ends.
 *
 * It acts on tasks that carry the option "need_export" (its presence counts, not its value); all
 * others go to the inner converter as they are. The option "password" holds the source's password
 * as a `std::string`, UTF-8; without it the empty one is used.
 *
 *     auto wrapper = std::make_shared<UnencryptDocWrapper>(names, converter, provider, fileSystem);
 *     task.options["need_export"] = true;
 *     task.options["password"] = std::string("secret");
 *
 * The copy is a generated name and ".pdf" in the file system's temporary folder. It lives until the
 * inner converter has reported the end of the task, and a receiver of that signal may still find
 * it. When the inner converter refuses the task, or never ends it, or when copying the task for it
 * throws, the copy stays: whoever provides the temporary folder clears it.
 *
 * Ownership: the wrapper shares the inner converter and the services, and has no parent. When it
 * holds their last share they are destroyed with it: the file system first, then the PDF provider,
 * the inner converter and the name generator.
 *
 * Signals: all eight of the inner converter, with the caller's source in place of the copy's path.
 * A path that is no copy in flight is passed on as it came. At the end of a task:
 * - a receiver that throws has the copy deleted all the same.
 * - a receiver that ends the task once more has that reported, and the deletion logged, twice.
 * - a receiver that deletes the wrapper has the copy of this task deleted, and no other.
 *
 * Thread: used on the thread that owns it, which ConvertFile blocks while the provider opens and
 * saves. Receivers may delete the wrapper in a slot.
 */
class CONVERTWRAPPERS_EXPORT UnencryptDocWrapper : public AbstractConverter
{
    Q_OBJECT

public:
    /** Connects the inner converter's signals. No pointer may be null. */
    UnencryptDocWrapper(const std::shared_ptr<IFileNameGenerator>& fileNameGenerator,
                        const std::shared_ptr<AbstractConverter>& inner,
                        const std::shared_ptr<IPDFProvider>& pdfProvider,
                        const std::shared_ptr<IFileSystem>& fileSystem);

    /**
     * Deletes no file; tasks in flight end without a signal.
     *
     * The three operations that are handed on work until the file system and the PDF provider have
     * gone, whose destructors may call back. An end that comes then is of no copy in flight.
     */
    ~UnencryptDocWrapper() override;

    /**
     * Makes the copy, if the task asks for one, and starts the inner conversion.
     *
     * @return the inner converter's answer; false, without any signal, when the document could not
     *         be opened or saved
     * @throws std::bad_cast  the option "password" holds something other than a `std::string`
     * @throws ...            what the provider's futures carry; `std::future_error` when one of
     *                        them has no state; what copying the task throws, which is done when
     *                        the document has been saved and closed
     */
    bool ConvertFile(const Task& task) override;

    /** The inner converter's answer. */
    bool CancelConvertation() override;

    /** The inner converter's answer. */
    std::map<QString, QStringList> GetSupportedFormats() const override;

    /** The inner converter's answer. */
    bool DoesServiceAvailable() override;

private:
    Q_DISABLE_COPY_MOVE(UnencryptDocWrapper)

    struct CONVERTWRAPPERS_NO_EXPORT Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace Korvel::PDF::Converter
