// Makes the document that the demo converts: make-sample OUT.pdf [--pages N] [--password TEXT]

#include "SamplePdf.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>

int main(int argc, char** argv)
{
    // Pages are painted without a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addPositionalArgument("OUT.pdf", "The document to make");
    parser.addOption({"pages", "How many pages (default 4)", "N", "4"});
    parser.addOption({"password", "Encrypt it with AES-256 and this password", "TEXT"});
    parser.addHelpOption();
    parser.process(application);
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
