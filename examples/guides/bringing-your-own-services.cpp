#include "FileNameGeneratorContract.h"
#include "InProcessPdfProvider.h"
#include "PaintingApplication.h"
#include "PdfProviderContract.h"
#include "SamplePdf.h"
#include "SequenceNames.h"

using namespace Korvel::PDF;
using namespace Korvel::PDF::TestKit;

//! [names]
class SequenceNamesTest : public FileNameGeneratorFixture
{
public:
    IFileNameGenerator& Generator() override { return names; }
    SequenceNames names;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, FileNameGeneratorContract, SequenceNamesTest);
//! [names]

namespace {

struct Documents
{
    Documents()
    {
        MakeSamplePdf(plain, 1);
        EncryptPdf(plain, encrypted, Encryption::Aes256, "secret", "owner");
    }

    const QTemporaryDir folder;
    const QString plain = folder.filePath(QStringLiteral("plain.pdf"));
    const QString encrypted = folder.filePath(QStringLiteral("encrypted.pdf"));
};

} // namespace

//! [provider]
class InProcessPdfProviderTest : public PdfProviderFixture
{
public:
    IPDFProvider& Provider() override { return provider; }
    std::string PlainDocument() override { return documents.plain.toStdString(); }
    std::string EncryptedDocument() override { return documents.encrypted.toStdString(); }
    std::string Password() override { return "secret"; }

    const Documents documents;
    InProcessPdfProvider provider;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Mine, PdfProviderContract, InProcessPdfProviderTest);
//! [provider]

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv); // the documents are painted
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
