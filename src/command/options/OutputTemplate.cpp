#include "OutputTemplate.h"

#include "Failure.h"
#include "PathText.h"
#include "ResultFormat.h"

#include <algorithm>

#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace Korvel::App {

namespace {

Failure Unusable(const QString& text, const std::string& why)
{
    return {ExitCode::Usage, "usage", "'" + text.toStdString() + "' " + why};
}

} // namespace

QStringList OutputTemplate::Formats()
{
    QStringList formats;
    for (const ResultFormat& format : resultFormats)
        formats.append(format.suffix);
    return formats;
}

bool OutputTemplate::IsPictureFormat(const QString& format)
{
    const ResultFormat* const known = FindResultFormat(format);
    return known && known->isPicture;
}

QString OutputTemplate::NameOf(const QString& format)
{
    const ResultFormat* const known = FindResultFormat(format);
    return known ? QString(known->name) : QString();
}

OutputTemplate OutputTemplate::Parse(const QString& text, const QString& wantedFormat)
{
    static const QRegularExpression place("%(%|s|p|d|0([1-9])d)?");
    OutputTemplate result;
    Piece piece;
    int end = 0;
    for (auto matches = place.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        piece.text += text.mid(end, match.capturedStart() - end);
        end = int(match.capturedEnd());
        const QString what = match.captured(1);
        if (what.isEmpty())
            throw Unusable(text, "has a % that is not %d, %0Nd (N from 1 to 9), %s, %p or %%; "
                                 "write %% for a percent sign");
        if (what == QLatin1String("%")) {
            piece.text += QLatin1Char('%');
            continue;
        }
        piece.place = PlaceOf(what);
        piece.digits = std::max(1, match.captured(2).toInt());
        result.pieces.push_back(piece);
        piece = Piece();
    }
    piece.text += text.mid(end);
    result.pieces.push_back(piece);

    const QFileInfo example(result.Path("input", 1));
    result.format = wantedFormat.isEmpty() ? example.suffix().toLower() : wantedFormat;
    if (!Formats().contains(result.format) || example.completeBaseName().isEmpty())
        throw Failure(ExitCode::Usage, "usage",
                      "cannot tell the format of '" + text.toStdString() +
                          "'; name it with -f, or end the output's name with one of ." +
                          Formats().join(" .").toStdString() + "; a folder is named with -d");
    return result;
}

OutputTemplate::Piece::Place OutputTemplate::PlaceOf(const QString& letters)
{
    if (letters == QLatin1String("s"))
        return Piece::InputName;
    return letters == QLatin1String("p") ? Piece::InputFolder : Piece::PageNumber;
}

bool OutputTemplate::HasPlace(Piece::Place place) const
{
    return std::any_of(pieces.begin(), pieces.end(),
                       [place](const Piece& piece) { return piece.place == place; });
}

bool OutputTemplate::JoinsPictures() const
{
    return NameOf(format) == QLatin1String(WorkerProtocol::Format::tif) && !HasPageNumber();
}

bool OutputTemplate::HasPageNumber() const
{
    return HasPlace(Piece::PageNumber);
}

bool OutputTemplate::HasFolder() const
{
    return HasPlace(Piece::InputFolder);
}

bool OutputTemplate::HasInputName() const
{
    return HasPlace(Piece::InputName);
}

QString OutputTemplate::Path(const QString& input, int page, const QString& folder) const
{
    QString path;
    bool lacksFolder = false;
    for (const Piece& piece : pieces) {
        const bool takesSlashAway = lacksFolder && piece.text.startsWith(QLatin1Char('/'));
        path += piece.text.mid(takesSlashAway ? 1 : 0);
        lacksFolder = piece.place == Piece::InputFolder && folder.isEmpty();
        if (piece.place == Piece::InputName)
            path += input;
        else if (piece.place == Piece::InputFolder)
            path += folder;
        else if (piece.place == Piece::PageNumber && page > 0)
            path += QString::number(page).rightJustified(piece.digits, QLatin1Char('0'));
    }
    return path;
}

OutputTemplate OutputTemplate::WithPageNumber(int lastPage) const
{
    OutputTemplate result = *this;
    Piece& last = result.pieces.back();
    const QString tail = SuffixOf(last.text);
    last.text.chop(tail.size());
    last.text += QLatin1Char('-');
    last.place = Piece::PageNumber;
    last.digits = int(QString::number(lastPage).size());
    result.pieces.push_back({tail, Piece::Nothing, 1});
    return result;
}

} // namespace Korvel::App
