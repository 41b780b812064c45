#include "PdfDocument.h"

#include "AnnotationsAsContent.h"
#include "DescribeEncryption.h"
#include "LoneJpeg.h"
#include "MergedPdf.h"
#include "NewFile.h"
#include "OptionalContent.h"
#include "PathText.h"
#include "PdfStructure.h"
#include "RequestError.h"
#include "ShowPages.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFWriter.hh>
#include <qpdf/QUtil.hh>

#include <malloc.h>

namespace Korvel::Worker {

namespace {

constexpr int longestProperty = 65536; // an answer has to have an end

/** The passwords to try, in other encodings too, as schemes differ in the one that they take. */
std::vector<std::string> Candidates(const std::string& password)
{
    std::vector<std::string> candidates{std::string()};
    // libqpdf would read a password up to a NUL, and open what that part opens.
    if (!password.empty() && !HoldsNul(password)) {
        for (const std::string& encoded : QUtil::possible_repaired_encodings(password))
            candidates.push_back(encoded);
    }
    return candidates;
}

/**
 * libqpdf takes a block for each stream and gives it back. As the C library would return such
 * blocks to the system, the next one would come as new pages, cleared one by one.
 */
void KeepFreedBlocks()
{
    ::mallopt(M_MMAP_THRESHOLD, 32 << 20);
    ::mallopt(M_TRIM_THRESHOLD, 512 << 20);
    ::mallopt(M_MXFAST, 0); // else each large block has the small ones merged over and over
}

/** The file output of libqpdf keeps the last error of writing to itself. */
class ToFile : public Pipeline
{
public:
    explicit ToFile(NewFile& file) : Pipeline("file", nullptr), file(file) {}

    void write(const unsigned char* data, std::size_t size) override
    {
        file.Write(reinterpret_cast<const char*>(data), size);
    }

    void finish() override {}

private:
    NewFile& file;
};

} // namespace

PdfDocument::PdfDocument(const std::string& path, const std::string& password) : file(path)
{
    try {
        if (!OpenOrRepair(path, Candidates(password)))
            throw RequestError(password.empty() ? Reason::NoPassword : Reason::WrongPassword,
                               "the document is encrypted");
    } catch (const QPDFExc& error) {
        if (error.getErrorCode() == qpdf_e_unsupported)
            throw RequestError(Reason::UnsupportedEncryption, error.what());
        throw RequestError(HasHeader(file.Bytes()) ? Reason::Damaged : Reason::NotAPdf,
                           error.what());
    }
}

/** Opens the document, or repairs it; false when all passwords are wrong. Throws QPDFExc only. */
bool PdfDocument::OpenOrRepair(const std::string& path, const std::vector<std::string>& passwords)
{
    const auto openWith = [&](bool repair) {
        return std::any_of(passwords.begin(), passwords.end(), [&](const std::string& password) {
            return Open(path, password, repair);
        });
    };
    try {
        return openWith(false);
    } catch (const QPDFExc&) {
        repaired = true;
        return openWith(true);
    }
}

/** Opens the document; false when the password is wrong. Throws QPDFExc and nothing else. */
bool PdfDocument::Open(const std::string& path, const std::string& password, bool repair)
{
    const auto damaged = [&path](const char* message) {
        return QPDFExc(qpdf_e_damaged_pdf, path, std::string(), 0, message);
    };
    pdf = std::make_unique<QPDF>();
    pdf->setSuppressWarnings(true);
    pdf->setAttemptRecovery(repair);
    try {
        pdf->processMemoryFile(path.c_str(), file.Bytes().data(), file.Bytes().size(),
                               password.c_str());
        // Each of them takes a byte at least, however they are packed.
        if (ListsMorePagesThan(*pdf, file.Bytes().size()))
            throw RequestError(Reason::TooManyPages, "there are more pages than bytes");
        if (repair) {
            MendPages(*pdf);
            MendTrailer(*pdf);
        }
        if (pdf->getAllPages().empty())
            throw damaged("the document has no pages");
        if (!repair && !IsSound(*pdf, file.Bytes()))
            throw damaged("the structure contradicts itself");
    } catch (const QPDFExc& error) {
        if (error.getErrorCode() == qpdf_e_password)
            return false;
        throw;
    } catch (const RequestError&) {
        throw;
    } catch (const std::exception& error) { // libqpdf throws more than its own type
        throw damaged(error.what());
    }
    // Streams are read only now: without recovery, those of a wrong length would be dropped
    // silently.
    pdf->setAttemptRecovery(true);
    neededPassword = !password.empty();
    return true;
}

std::map<QString, QString> PdfDocument::Properties()
{
    std::map<QString, QString> properties;
    QPDFObjectHandle info = pdf->getTrailer().getKey("/Info");
    for (const char* name : {"Title", "Author", "Subject", "Keywords", "Creator", "Producer",
                             "CreationDate", "ModDate"}) {
        const std::string key = std::string("/") + name;
        if (info.isDictionary() && info.getKey(key).isString())
            properties[name] =
                QString::fromStdString(info.getKey(key).getUTF8Value()).left(longestProperty);
    }
    return properties;
}

PDF::DocumentInfo PdfDocument::Description()
{
    PDF::DocumentInfo info;
    info.pages = int(pdf->getAllPages().size());
    info.encrypted = pdf->isEncrypted();
    if (info.encrypted)
        info.encryption = DescribeEncryption(*pdf, neededPassword);
    info.repaired = repaired;
    info.version = Version().toString();
    info.properties = Properties();
    return info;
}

QVersionNumber PdfDocument::Version()
{
    const auto parse = [](const std::string& version) {
        return QVersionNumber::fromString(QString::fromStdString(version));
    };
    QPDFObjectHandle later = pdf->getRoot().getKey("/Version");
    const QVersionNumber inHeader = parse(pdf->getPDFVersion());
    return later.isName() ? std::max(inHeader, parse(later.getName().substr(1))) : inHeader;
}

bool PdfDocument::HasForm()
{
    return HasFields(*pdf);
}

void PdfDocument::Save(NewFile& output)
{
    if (IsEncrypted() || IsRepaired() || !BeginsAndEndsAsPdf(file.Bytes()))
        Write(output, qpdf_o_disable, false);
    else
        output.Write(file.Bytes().data(), file.Bytes().size());
}

void PdfDocument::SavePages(NewFile& output, const std::set<qint64>& pages, bool isLinearized)
{
    try {
        if (AreAll(pages))
            SaveAll(output, isLinearized);
        else
            SaveSome(output, pages, isLinearized);
    } catch (const RequestError&) {
        throw;
    } catch (const std::exception& error) {
        throw RequestError(Reason::Damaged, error.what());
    }
}

bool PdfDocument::AreAll(const std::set<qint64>& pages)
{
    const std::size_t count = selection ? selection->Count() : pdf->getAllPages().size();
    return pages.empty() ||
           (pages.size() == count && *pages.begin() == 1 && *pages.rbegin() == qint64(count));
}

void PdfDocument::SaveAll(NewFile& output, bool isLinearized)
{
    if (selection)
        selection->PutBack();
    selection.reset();
    if (isLinearized)
        Write(output, qpdf_o_preserve, isLinearized);
    else
        Save(output);
}

void PdfDocument::SaveSome(NewFile& output, const std::set<qint64>& pages, bool isLinearized)
{
    Choose(pages);
    Write(output, qpdf_o_preserve, isLinearized);
    selection->Hide();
}

/** Leaves the document these pages for the time being. */
void PdfDocument::Choose(const std::set<qint64>& pages)
{
    if (!selection)
        selection = std::make_unique<PageSelection>(*pdf);
    selection->Show(pages);
}

void PdfDocument::Merge(NewFile& output, const std::vector<PagesOfFile>& files, bool isLinearized)
{
    std::vector<std::unique_ptr<PdfDocument>> documents;
    std::unique_ptr<MergedPdf> merged;
    QVersionNumber version;
    const auto take = [&](const PagesOfFile& part) {
        documents.push_back(std::make_unique<PdfDocument>(part.file, std::string()));
        PdfDocument& document = *documents.back();
        version = std::max(version, document.Version());
        if (!document.AreAll(part.pages))
            document.Choose(part.pages);
        if (!merged) {
            merged = std::make_unique<MergedPdf>(*document.pdf);
            return;
        }
        merged->Append(*document.pdf);
        document.selection.reset();
        document.pdf.reset(); // its file stays, which streams are read from
    };
    for (const PagesOfFile& part : files) {
        try {
            take(part);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            throw RequestError(Reason::CannotRender, part.file + ": " + error.what());
        }
    }
    merged->Finish();
    documents.front()->Write(output, qpdf_o_generate, isLinearized,
                             {version.majorVersion(), version.minorVersion()});
}

void PdfDocument::Write(NewFile& output, qpdf_object_stream_e packing, bool isLinearized,
                        const PDFVersion& atLeast)
{
    KeepFreedBlocks();
    ToFile pipeline(output);
    try {
        QPDFWriter writer(*pdf);
        writer.setPreserveEncryption(false);
        writer.setStreamDataMode(qpdf_s_preserve);
        writer.setObjectStreamMode(packing);
        writer.setLinearization(isLinearized);
        writer.setMinimumPDFVersion(atLeast);
        writer.setDeterministicID(true); // by what is written, in place of the time and the path
        writer.setOutputPipeline(&pipeline);
        writer.write();
    } catch (const RequestError&) {
        throw;
    } catch (const std::exception& error) {
        throw RequestError(Reason::Damaged, error.what());
    }
}

bool PdfDocument::HidesAnnotations()
{
    return HasHiddenAnnotations(*pdf);
}

std::shared_ptr<Buffer> PdfDocument::Jpeg(qint64 page)
{
    const std::vector<QPDFObjectHandle>& pages = pdf->getAllPages();
    if (page < 1 || page > qint64(pages.size()))
        throw RequestError(Reason::NoSuchPage, "there is no page " + std::to_string(page));
    try {
        return LoneJpeg(QPDFPageObjectHelper(pages[std::size_t(page - 1)]));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return nullptr; // an engine may be able to draw it
    }
}

bool PdfDocument::HasOtherText()
{
    return HasAnnotationsOfText(*pdf) || HasHiddenContent(*pdf);
}

QByteArray PdfDocument::ForRendering(const PageView& view)
{
    RemoveHiddenAnnotations(*pdf);
    MakeFieldsContent(*pdf);
    if (!view.IsPlain())
        ShowPages(*pdf, view);
    return InMemory();
}

QByteArray PdfDocument::ForReading()
{
    RemoveHiddenAnnotations(*pdf);
    MakeAnnotationsOfTextContent(*pdf);
    RemoveHiddenText(*pdf);
    return InMemory();
}

QByteArray PdfDocument::InMemory()
{
    // Streams are not preserved: libqpdf would leave the appearances that it has made empty.
    QPDFWriter writer(*pdf);
    writer.setPreserveEncryption(false);
    writer.setObjectStreamMode(qpdf_o_disable);
    writer.setOutputMemory();
    writer.write();
    const std::shared_ptr<Buffer> bytes = writer.getBufferSharedPointer();
    if (bytes->getSize() > std::size_t(std::numeric_limits<int>::max()))
        throw RequestError(Reason::CannotRender, "the document is too large to be prepared");
    return {reinterpret_cast<const char*>(bytes->getBuffer()), int(bytes->getSize())};
}

} // namespace Korvel::Worker
