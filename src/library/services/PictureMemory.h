#pragma once

#include "FileDescriptor.h"
#include "PagePicture.h"
#include "WorkerProtocol.h"

#include <optional>

#include <QByteArray>
#include <QJsonObject>

namespace Korvel::PDF {

/**
 * Memory for one picture, which a worker is given to draw into, or to put an encoded one into. What
 * the worker says of it is believed in nothing: it is measured, and sealed, so that nobody can
 * shrink or write it any more, before it is looked at; encoded pictures are copied instead.
 */
class PictureMemory
{
public:
    /** Empty; the worker makes it as large as it takes. */
    PictureMemory();

    /** Takes it from the worker, too, unless its pixels were taken. */
    ~PictureMemory();

    /** What is sent to the worker; -1 where there is no room for it. */
    int Descriptor() const { return file.Number(); }

    /**
     * Takes the picture of a request that was answered with success.
     *
     * @param largest  MiB; 0 for any
     * @return what is amiss; nothing when Picture() is there, or Bytes()
     */
    std::optional<WorkerProtocol::Reason> Take(const QJsonObject& request,
                                               const QJsonObject& answer, int largest);

    /** What was taken of a request for "pixels"; a picture of nothing before. */
    const Converter::PagePicture& Picture() const { return picture; }

    /** What was taken of another one; empty before. */
    const QByteArray& Bytes() const { return encoded; }

private:
    std::optional<WorkerProtocol::Reason> TakePixels(const QJsonObject& request,
                                                     const QJsonObject& answer, qint64 most);
    std::optional<WorkerProtocol::Reason> TakeBytes(qint64 bytes, qint64 most);
    bool Seal() const;
    qint64 Size() const;

    const FileDescriptor file;
    Converter::PagePicture picture;
    QByteArray encoded;
};

} // namespace Korvel::PDF
