#pragma once

#include "FileDescriptor.h"
#include "PagePicture.h"
#include "WorkerProtocol.h"

#include <optional>

#include <QJsonObject>

namespace Korvel::PDF {

/**
 * Memory for one picture, which a worker is given to draw into. What the worker says of it is
 * believed in nothing: it is sealed, so that nobody can shrink or write it any more, and measured,
 * before it is looked at.
 */
class PictureMemory
{
public:
    /** Empty; the worker makes it as large as it takes. */
    PictureMemory();

    /** Takes it from the worker, too, where it has become no picture. */
    ~PictureMemory();

    /** What is sent to the worker; -1 where there is no room for it. */
    int Descriptor() const { return file.Number(); }

    /**
     * Takes the picture of a request that was answered with success.
     *
     * @param largest  MiB; 0 for any
     * @return what is amiss; nothing when Picture() is there
     */
    std::optional<WorkerProtocol::Reason> Take(const QJsonObject& request,
                                               const QJsonObject& answer, int largest);

    /** What was taken; a picture of nothing before. */
    const Converter::PagePicture& Picture() const { return picture; }

private:
    bool Seal() const;
    bool Holds(qint64 bytes) const;

    const FileDescriptor file;
    Converter::PagePicture picture;
};

} // namespace Korvel::PDF
