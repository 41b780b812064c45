#include "PdfDocument.h"

#include "Failure.h"
#include "NewFile.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <qpdf/Buffer.hh>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QUtil.hh>

namespace Korvel::Worker {

namespace {

constexpr std::size_t headerWithin = 1024;

/** Readers look for the header in the first kilobyte. */
bool LooksLikePdf(const SourceFile& file)
{
    const std::string_view start(file.Data(), std::min(file.Size(), headerWithin));
    return start.find("%PDF-") != std::string_view::npos;
}

/** The passwords to try. Other encodings of the one given: what a form of encryption wants varies.
 */
std::vector<std::string> Candidates(const std::string& password)
{
    std::vector<std::string> candidates{std::string()};
    if (!password.empty()) {
        candidates.push_back(password);
        for (const std::string& encoded : QUtil::possible_repaired_encodings(password))
            candidates.push_back(encoded);
    }
    return candidates;
}

void SetUp(QPDFWriter& writer)
{
    writer.setPreserveEncryption(false);
    writer.setStreamDataMode(qpdf_s_preserve);
    writer.setObjectStreamMode(qpdf_o_disable);
}

} // namespace

PdfDocument::PdfDocument(const std::string& path, const std::string& password) : file(path)
{
    try {
        for (const std::string& candidate : Candidates(password)) {
            if (Open(path, candidate, false))
                return;
        }
    } catch (const QPDFExc& error) {
        if (error.getErrorCode() == qpdf_e_unsupported)
            throw Failure("unsupported-encryption", error.what());
    } catch (const std::exception&) {
        // libqpdf throws more than its own type; the second round tells whether it can be repaired.
    }
    repaired = true;
    try {
        for (const std::string& candidate : Candidates(password)) {
            if (Open(path, candidate, true))
                return;
        }
    } catch (const QPDFExc& error) {
        if (error.getErrorCode() == qpdf_e_unsupported)
            throw Failure("unsupported-encryption", error.what());
        throw Failure(LooksLikePdf(file) ? "damaged" : "not-a-pdf", error.what());
    } catch (const std::exception& error) {
        throw Failure(LooksLikePdf(file) ? "damaged" : "not-a-pdf", error.what());
    }
    throw Failure(password.empty() ? "no-password" : "wrong-password", "the document is encrypted");
}

/** False when the password is wrong. */
bool PdfDocument::Open(const std::string& path, const std::string& password, bool repair)
{
    pdf = std::make_unique<QPDF>();
    pdf->setSuppressWarnings(true);
    pdf->setAttemptRecovery(repair);
    try {
        pdf->processMemoryFile(path.c_str(), file.Data(), file.Size(), password.c_str());
    } catch (const QPDFExc& error) {
        if (error.getErrorCode() == qpdf_e_password)
            return false;
        throw;
    }
    if (pdf->getAllPages().empty())
        throw std::runtime_error("the document has no pages");
    return true;
}

QJsonObject PdfDocument::Description()
{
    QJsonObject properties;
    QPDFObjectHandle info = pdf->getTrailer().getKey("/Info");
    for (const char* name : {"Title", "Author", "Subject", "Keywords", "Creator", "Producer",
                             "CreationDate", "ModDate"}) {
        const std::string key = std::string("/") + name;
        if (info.isDictionary() && info.getKey(key).isString())
            properties[QLatin1String(name)] =
                QString::fromStdString(info.getKey(key).getUTF8Value());
    }
    return {{QStringLiteral("pages"), int(pdf->getAllPages().size())},
            {QStringLiteral("encrypted"), pdf->isEncrypted()},
            {QStringLiteral("repaired"), repaired},
            {QStringLiteral("version"), QString::fromStdString(pdf->getPDFVersion())},
            {QStringLiteral("properties"), properties}};
}

bool PdfDocument::HasForm()
{
    QPDFObjectHandle form = pdf->getRoot().getKey("/AcroForm");
    if (!form.isDictionary())
        return false;
    QPDFObjectHandle fields = form.getKey("/Fields");
    return fields.isArray() && fields.getArrayNItems() > 0;
}

void PdfDocument::Save(const std::string& path, mode_t mode)
{
    NewFile output(path, mode);
    try {
        QPDFWriter writer(*pdf, path.c_str(), output.Stream(), false);
        SetUp(writer);
        writer.write();
    } catch (const std::exception& error) {
        throw Failure("cannot-write", error.what());
    }
    output.Keep();
}

QByteArray PdfDocument::ForRendering()
{
    QPDFAcroFormDocumentHelper(*pdf).generateAppearancesIfNeeded();
    QPDFPageDocumentHelper(*pdf).flattenAnnotations(0, an_hidden | an_no_view);
    QPDFWriter writer(*pdf);
    SetUp(writer);
    writer.setOutputMemory();
    writer.write();
    const std::shared_ptr<Buffer> bytes = writer.getBufferSharedPointer();
    return {reinterpret_cast<const char*>(bytes->getBuffer()), int(bytes->getSize())};
}

} // namespace Korvel::Worker
