// Makes the document that the demo converts: make-sample OUT.pdf [--pages N] [--password TEXT]

#include "PaintingApplication.h"
#include "SamplePdf.h"

#include <exception>
#include <iostream>

#include <QCommandLineParser>
#include <QTemporaryDir>

namespace {

void MakeSample(const QString& output, int pages, const QByteArray& password)
{
    if (password.isEmpty()) {
        MakeSamplePdf(output, pages);
        return;
    }
    const QTemporaryDir folder;
    const QString plain = folder.filePath("plain.pdf");
    MakeSamplePdf(plain, pages);
    EncryptPdf(plain, output, Encryption::Aes256, password, password);
}

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addPositionalArgument("OUT.pdf", "The document to make");
    parser.addOption({"pages", "How many pages (default 4)", "N", "4"});
    parser.addOption({"password", "Encrypt it with AES-256 and this password", "TEXT"});
    parser.addHelpOption();
    parser.process(QCoreApplication::arguments());
    if (parser.positionalArguments().size() != 1)
        parser.showHelp(2);

    try {
        MakeSample(parser.positionalArguments().first(), parser.value("pages").toInt(),
                   parser.value("password").toUtf8());
    } catch (const std::exception& error) {
        std::cerr << "make-sample: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
