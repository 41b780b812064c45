#include "PdfConversionFixture.h"

#include "FilesBelow.h"
#include "SamplePdf.h"
#include "WorkerTestTools.h"

#include <QFile>

namespace Korvel::PDF::Converter::Test {

Course::Course(PdfConversion& conversion)
{
    QObject::connect(&conversion, &PdfConversion::Progress, [this, &conversion](double part) {
        EXPECT_TRUE(conversion.IsRunning());
        if (!signalled.isEmpty() && signalled.last() == QLatin1String("ended"))
            progress = -1; // it was started again
        EXPECT_GE(part, progress);
        progress = part;
    });
    QObject::connect(&conversion, &PdfConversion::PageFinished,
                     [this](int page) { signalled << QStringLiteral("page %1").arg(page); });
    QObject::connect(&conversion, &PdfConversion::PageFailed,
                     [this](int page) { signalled << QStringLiteral("failed %1").arg(page); });
    QObject::connect(&conversion, &PdfConversion::Warned,
                     [this] { signalled << QStringLiteral("warned"); });
    QObject::connect(&conversion, &PdfConversion::Ended,
                     [this] { signalled << QStringLiteral("ended"); });
}

PdfConversionFixture::PdfConversionFixture() : converter(RealSettings()) {}

QString PdfConversionFixture::Sample(const QString& name, int pages) const
{
    MakeSamplePdf(Path(name), pages);
    return Path(name);
}

QString PdfConversionFixture::Secret(const QString& name, int pages) const
{
    EncryptPdf(Sample("open-" + name, pages), Path(name), Encryption::Aes256, "geheim", "owner");
    return Path(name);
}

QString PdfConversionFixture::WithABadPage() const
{
    MakePdfOfCropBoxes(Path("bad.pdf"), {"0 0 200 200", "900 900 950 950", "0 0 200 200"});
    return Path("bad.pdf");
}

ConversionRequest PdfConversionFixture::RequestOf(const QString& document, const QString& result)
{
    ConversionRequest request{document, result};
    request.pictures.resolution = 20;
    return request;
}

PdfConverter::Settings PdfConversionFixture::RealSettings() const
{
    return {{QStringLiteral(WORKER)}, 2, temp.path()};
}

PdfConverter::Settings PdfConversionFixture::ScriptedSettings() const
{
    return {{PDF::Test::ScriptedWorker()}, 1, temp.path()};
}

ConversionResult PdfConversionFixture::Convert(const ConversionRequest& request)
{
    PdfConversion conversion(converter, request);
    EXPECT_TRUE(RunToEnd(conversion));
    EXPECT_EQ(conversion.ErrorText().isEmpty(), !conversion.Error());
    return conversion.Result();
}

QStringList PdfConversionFixture::TemporaryFiles() const
{
    return PDF::Test::FilesBelow(temp.path());
}

void PdfConversionFixture::Write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QFile::WriteOnly) && file.write(bytes) == bytes.size());
}

QByteArray PdfConversionFixture::Read(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QFile::ReadOnly)) << path.toStdString();
    return file.readAll();
}

QStringList PathsOf(const ConversionResult& result)
{
    QStringList paths;
    for (const ConversionResult::Page& page : result.pages)
        paths.append(page.path);
    return paths;
}

std::function<std::optional<std::string>(int)> Passwords(std::vector<std::string> passwords,
                                                         std::vector<int>& attempts)
{
    return
        [passwords = std::move(passwords), &attempts](int attempt) -> std::optional<std::string> {
            attempts.push_back(attempt);
            const auto index = std::size_t(attempt - 1);
            return index < passwords.size() ? std::optional(passwords[index]) : std::nullopt;
        };
}

bool RunToEnd(PdfConversion& conversion)
{
    return conversion.Start() && PDF::Test::WaitUntil([&] { return !conversion.IsRunning(); });
}

} // namespace Korvel::PDF::Converter::Test
