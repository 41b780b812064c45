#include "PreparedCopy.h"

#include <QFileInfo>

namespace Korvel::PDF::Converter {

namespace {

template <typename T>
std::future<T> Ready(T value)
{
    std::promise<T> promise;
    promise.set_value(value);
    return promise.get_future();
}

} // namespace

std::string PreparedCopy::GenerateFileName()
{
    const QFileInfo file(QString::fromStdString(copy->path.utf8string()));
    return file.completeBaseName().toStdString();
}

std::future<DocumentHandle> PreparedCopy::OpenDocument(const ioPath&, const std::string&)
{
    return Ready(DocumentHandle{0, 0});
}

std::future<bool> PreparedCopy::SaveDocument(const DocumentHandle&, const ioPath& file)
{
    return Ready(file.utf8string() == copy->path.utf8string());
}

std::future<bool> PreparedCopy::CloseDocument(const DocumentHandle&)
{
    return Ready(true);
}

} // namespace Korvel::PDF::Converter
