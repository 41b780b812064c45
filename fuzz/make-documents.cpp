// Makes the documents that the fuzzers of the worker begin with, in the folder that is named.

#include "PaintingApplication.h"
#include "SamplePdf.h"

#include <cstdio>
#include <exception>

#include <QDir>

namespace {

void MakeDocuments(const QDir& folder)
{
    const auto path = [&](const char* name) {
        return folder.filePath(name);
    };
    MakeSamplePdf(path("sample.pdf"), 2);
    const std::pair<const char*, Encryption> encryptions[] = {
        {"locked-rc4-40.pdf", Encryption::Rc4_40},
        {"locked-rc4-128.pdf", Encryption::Rc4_128},
        {"locked-aes-128.pdf", Encryption::Aes128},
        {"locked.pdf", Encryption::Aes256}};
    for (const auto& [name, encryption] : encryptions)
        EncryptPdf(path("sample.pdf"), path(name), encryption, "user", "owner");
    EncryptPdf(path("sample.pdf"), path("encrypted.pdf"), Encryption::Aes128, "", "owner");
    MakeFormPdf(path("form.pdf"));
    MakeAnnotatedPdf(path("annotated.pdf"));
    MakeRotatedPdf(path("rotated.pdf"));
    MakeCroppedPdf(path("cropped.pdf"), {100, 100, 200, 200});
    MakePdfWithoutPages(path("no-pages.pdf"));
    MakeSamplePdf(path("broken.pdf"), 1);
    BreakCrossReferences(path("broken.pdf"));
    MakeSamplePdf(path("lengths.pdf"), 1);
    LoseStreamLengths(path("lengths.pdf"));
}

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    try {
        MakeDocuments(QDir(QString::fromLocal8Bit(argv[1])));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
