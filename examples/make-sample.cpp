// Makes the document that the demo converts: make-sample OUT.pdf [--pages N] [--password TEXT]

#include "PaintingApplication.h"
#include "SamplePdf.h"

#include <QCommandLineParser>
#include <QFile>

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

    const QString output = parser.positionalArguments().first();
    const int pages = parser.value("pages").toInt();
    if (!parser.isSet("password")) {
        MakeSamplePdf(output, pages);
        return 0;
    }
    const QString plain = output + ".plain";
    MakeSamplePdf(plain, pages);
    const QByteArray password = parser.value("password").toUtf8();
    EncryptPdf(plain, output, Encryption::Aes256, password, password);
    QFile::remove(plain);
    return 0;
}
