#include "InProcessPdfProvider.h"

#include <cstdio>
#include <stdexcept>

#include <fcntl.h>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>
#include <unistd.h>

using Korvel::ioPath;
using Korvel::PDF::DocumentHandle;

namespace {

/** A NUL would cut the path, and name another file. */
std::string Text(const ioPath& path)
{
    const std::string text = path.utf8string();
    if (text.find('\0') != std::string::npos)
        throw std::runtime_error("a path with a NUL");
    return text;
}

//! [save]
/** Writes a file that was not there before, and that its owner alone can read. */
bool SaveUnencrypted(QPDF& pdf, const std::string& path)
{
    const int descriptor =
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return false;
    try {
        QPDFWriter writer(pdf);
        writer.setOutputFile(path.c_str(), ::fdopen(descriptor, "wb"), true);
        writer.setPreserveEncryption(false);
        writer.write();
        return true;
    } catch (...) {
        ::unlink(path.c_str());
        return false;
    }
}
//! [save]

} // namespace

//! [ask]
/** Does the work on the provider's thread; whatever it throws is answered as `failed`. */
template <typename Answer, typename Work>
std::future<Answer> InProcessPdfProvider::Ask(Answer failed, Work work)
{
    const auto promise = std::make_shared<std::promise<Answer>>();
    thread.start([promise, failed, work] {
        Answer answer = failed;
        try {
            answer = work();
        } catch (...) {
        }
        promise->set_value(answer);
    });
    return promise->get_future();
}
//! [ask]

InProcessPdfProvider::InProcessPdfProvider()
{
    thread.setMaxThreadCount(1);
}

InProcessPdfProvider::~InProcessPdfProvider() = default;

//! [operations]
std::future<DocumentHandle> InProcessPdfProvider::OpenDocument(const ioPath& file,
                                                               const std::string& password)
{
    return Ask(DocumentHandle(), [this, file, password] {
        auto pdf = std::make_unique<QPDF>();
        pdf->setSuppressWarnings(true);
        pdf->processFile(Text(file).c_str(), password.c_str());
        documents[++lastId] = std::move(pdf);
        return DocumentHandle{lastId, 0};
    });
}

std::future<bool> InProcessPdfProvider::SaveDocument(const DocumentHandle& document,
                                                     const ioPath& file)
{
    return Ask(false, [this, id = document.id, file] {
        return SaveUnencrypted(*documents.at(id), Text(file));
    });
}

std::future<bool> InProcessPdfProvider::CloseDocument(const DocumentHandle& document)
{
    return Ask(false, [this, id = document.id] { return documents.erase(id) > 0; });
}
//! [operations]
