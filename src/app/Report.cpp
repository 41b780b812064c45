#include "Report.h"

#include <cstdio>

#include <QFile>

#include <unistd.h>

namespace Korvel::App {

namespace {

constexpr int barWidth = 30;
constexpr int longestName = 30;
constexpr qint64 millisecondsBetweenBars = 100;

void Print(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.data(), 1, std::size_t(bytes.size()), stderr);
}

} // namespace

Report::Report(bool quiet, bool bar)
    : quiet(quiet), bar(bar && !quiet && ::isatty(STDERR_FILENO) == 1)
{
}

Report::~Report()
{
    End();
}

void Report::Begin(const QString& ofName, int ofPages)
{
    name =
        ofName.size() > longestName ? ofName.left(longestName - 3) + QStringLiteral("...") : ofName;
    pages = ofPages;
    Progress(0);
}

void Report::Progress(double progress)
{
    if (!bar || (drawn && progress < 1 && sinceDrawn.elapsed() < millisecondsBetweenBars))
        return;
    const int filled = int(progress * barWidth);
    Print(QStringLiteral("\r%1 [%2%3] %4/%5 pages")
              .arg(name, QString(filled, QLatin1Char('#')),
                   QString(barWidth - filled, QLatin1Char('.')))
              .arg(int(progress * pages + 0.001))
              .arg(pages));
    drawn = true;
    sinceDrawn.start();
}

void Report::End()
{
    if (drawn)
        Print(QStringLiteral("\r\033[K"));
    drawn = false;
}

void Report::Complain(const std::string& message)
{
    End();
    Print(QStringLiteral("pdfconvert: ") + QString::fromStdString(message) + QLatin1Char('\n'));
}

void Report::Warn(const std::string& message)
{
    ++warnings;
    Note(message);
}

void Report::Note(const std::string& message)
{
    if (!quiet)
        Complain(message);
}

void Report::Summary(std::size_t inputs, std::size_t failures)
{
    Note(std::to_string(inputs - failures) + " of " + std::to_string(inputs) +
         " documents converted" +
         (failures > 0 ? ", " + std::to_string(failures) + " failed" : std::string()));
}

bool Report::Content(const QString& path)
{
    End();
    QFile file(path);
    QFile output;
    if (!file.open(QIODevice::ReadOnly) ||
        !output.open(stdout, QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    while (!file.atEnd()) {
        const QByteArray block = file.read(1 << 20);
        if (block.isEmpty() || output.write(block) != block.size())
            return false;
    }
    return std::fflush(stdout) == 0;
}

bool Report::Results(const QStringList& paths)
{
    End();
    for (const QString& path : paths)
        std::printf("%s\n", path.toUtf8().constData());
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

} // namespace Korvel::App
