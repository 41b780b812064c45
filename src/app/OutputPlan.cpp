#include "OutputPlan.h"

#include "Failure.h"
#include "IFileSystem.h"

#include <algorithm>

#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace Korvel::App {

namespace {

const QStringList& PictureFormats()
{
    static const QStringList formats{QStringLiteral("png"),  QStringLiteral("jpg"),
                                     QStringLiteral("jpeg"), QStringLiteral("tif"),
                                     QStringLiteral("tiff"), QStringLiteral("bmp"),
                                     QStringLiteral("webp")};
    return formats;
}

const QStringList& DocumentFormats()
{
    static const QStringList formats{QStringLiteral("txt"), QStringLiteral("pdf")};
    return formats;
}

/** @param text  the template that `path` was made from, for the message */
QString FormatOf(const QString& path, const QString& text)
{
    const QFileInfo file(path);
    QString suffix = file.suffix().toLower();
    const QStringList known = PictureFormats() + DocumentFormats();
    if (!known.contains(suffix) || file.completeBaseName().isEmpty())
        throw Failure(ExitCode::Usage, "cannot tell the format of '" + text.toStdString() +
                                           "'; end the output's name with one of ." +
                                           known.join(QStringLiteral(" .")).toStdString());
    return suffix;
}

} // namespace

OutputTemplate OutputTemplate::Parse(const QString& text)
{
    static const QRegularExpression place(QStringLiteral("%(%|d|0([1-9])d)?"));
    OutputTemplate result;
    Piece piece;
    int end = 0;
    for (auto matches = place.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        piece.text += text.mid(end, match.capturedStart() - end);
        end = match.capturedEnd();
        const QString what = match.captured(1);
        if (what.isEmpty())
            throw Failure(ExitCode::Usage,
                          "'" + text.toStdString() +
                              "' has a % that is not %d, %0Nd (N from 1 to 9) or %%; write %% for "
                              "a percent sign");
        if (what == QLatin1String("%")) {
            piece.text += QLatin1Char('%');
            continue;
        }
        piece.digits = match.captured(2).isEmpty() ? 1 : match.captured(2).toInt();
        result.pieces.push_back(piece);
        piece = Piece();
    }
    piece.text += text.mid(end);
    result.pieces.push_back(piece);
    result.format = FormatOf(result.ForPage(1), text);
    if (result.format == QLatin1String("pdf") && result.HasPageNumber())
        throw Failure(ExitCode::Usage, "a PDF as output is one file for the whole document; "
                                       "remove the page number from '" +
                                           text.toStdString() + "'");
    return result;
}

bool OutputTemplate::MakesPictures() const
{
    return PictureFormats().contains(format);
}

bool OutputTemplate::HasPageNumber() const
{
    return pieces.size() > 1;
}

QString OutputTemplate::ForPage(int page) const
{
    QString path;
    for (const Piece& piece : pieces) {
        path += piece.text;
        if (piece.digits > 0 && page > 0)
            path += QString::number(page).rightJustified(piece.digits, QLatin1Char('0'));
    }
    return path;
}

OutputTemplate OutputTemplate::WithPageNumber(int lastPage) const
{
    OutputTemplate result = *this;
    const QString tail = QLatin1Char('.') + QFileInfo(ForPage(0)).suffix();
    Piece& last = result.pieces.back();
    last.text.chop(tail.size());
    last.text += QLatin1Char('-');
    last.digits = QString::number(lastPage).size();
    result.pieces.push_back({tail, -1});
    return result;
}

QString FreePath(const QString& wanted, const std::vector<PlannedResult>& planned,
                 PDF::IFileSystem& fileSystem)
{
    const auto isFree = [&](const QString& path) {
        const auto has = [&](const PlannedResult& result) {
            return result.path == path;
        };
        return std::none_of(planned.begin(), planned.end(), has) &&
               !fileSystem.Exists(ioPath(path.toStdString()));
    };
    const QString suffix = QLatin1Char('.') + QFileInfo(wanted).suffix();
    QString path = wanted;
    for (int number = 2; !isFree(path); ++number) {
        path = wanted;
        path.chop(suffix.size());
        path += QStringLiteral("(%1)").arg(number) + suffix;
    }
    return path;
}

} // namespace Korvel::App
