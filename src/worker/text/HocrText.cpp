#include "HocrText.h"

#include "InHundredths.h"

#include <algorithm>
#include <cmath>

#include <QString>

namespace Korvel::Worker {

namespace {

constexpr double pointsPerInch = 72;
constexpr double farthest = 1e9; // for what documents draw far beside their pages

/** Text for an element or an attribute; what XML does not allow in one is left away. */
QByteArray Escaped(QString text)
{
    const auto isNone = [](QChar one) {
        return one.unicode() >= 0xfffe;
    };
    text.resize(int(std::remove_if(text.begin(), text.end(), isNone) - text.begin()));
    return text.toHtmlEscaped().replace('\'', QLatin1String("&#39;")).toUtf8();
}

/** Writes the elements of one page. */
class PageWriter
{
public:
    PageWriter(qint64 page, double dotsPerInch)
        : page(QByteArray::number(page)), scale(dotsPerInch / pointsPerInch)
    {
    }

    void Open(const char* element, const char* kind, const QRectF& box, const QByteArray& further)
    {
        text += QByteArray("<") + element + " class='" + kind + "' id='" + kind + '_' + page;
        if (qstrcmp(kind, "ocr_page") != 0)
            text += '_' + QByteArray::number(++last);
        text += "' title='bbox " + Pixels(std::floor(box.left() * scale)) + ' ' +
                Pixels(std::floor(box.top() * scale)) + ' ' +
                Pixels(std::ceil(box.right() * scale)) + ' ' +
                Pixels(std::ceil(box.bottom() * scale)) + further + "'>";
    }

    void Close(const char* element) { text += QByteArray("</") + element + ">\n"; }

    void Add(const TextWord& word, const std::vector<std::string>& fonts)
    {
        QByteArray further;
        if (word.font >= 0)
            further = "; x_font &quot;" +
                      Escaped(QString::fromStdString(fonts.at(std::size_t(word.font)))) + "&quot;";
        further += "; x_fsize " + QByteArray::number(InHundredths(word.size));
        Open("span", "ocrx_word", word.box, further);
        text += Escaped(word.text);
        Close("span");
    }

    QByteArray text;

private:
    static QByteArray Pixels(double number)
    {
        return QByteArray::number(qint64(std::clamp(number, -farthest, farthest)));
    }

    const QByteArray page;
    const double scale;
    int last = 0;
};

} // namespace

QByteArray HocrText(const TextPage& page, qint64 number, double dotsPerInch)
{
    const QByteArray resolution = QByteArray::number(InHundredths(dotsPerInch));
    PageWriter writer(number, dotsPerInch);
    writer.Open("div", "ocr_page", QRectF(QPointF(), page.size),
                "; ppageno " + QByteArray::number(number - 1) + "; scan_res " + resolution + ' ' +
                    resolution);
    writer.text += '\n';
    for (const TextBlock& block : page.blocks) {
        writer.Open("p", "ocr_par", block.box, {});
        writer.text += '\n';
        for (const TextLine& line : block.lines) {
            writer.Open("span", "ocr_line", line.box, {});
            writer.text += '\n';
            for (const TextWord& word : line.words)
                writer.Add(word, page.fonts);
            writer.Close("span");
        }
        writer.Close("p");
    }
    writer.Close("div");
    return writer.text;
}

} // namespace Korvel::Worker
