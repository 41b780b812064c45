// Makes the documents that scripts/bench converts: make-corpus FOLDER

#include "PaintingApplication.h"
#include "SamplePdf.h"

#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <stdexcept>

#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QPdfWriter>

namespace {

constexpr int pointsPerInch = 72;

void Make(const QString& path, int pages, const std::function<void(QPainter&, int page)>& paint)
{
    QPdfWriter writer(path);
    writer.setPageMargins({});
    writer.setResolution(pointsPerInch);
    QPainter painter(&writer);
    for (int page = 1; page <= pages; ++page) {
        if (page > 1)
            writer.newPage();
        painter.save();
        paint(painter, page);
        painter.restore();
    }
}

void PaintText(QPainter& painter, int page)
{
    std::mt19937 random{unsigned(page)};
    const QString letters = QStringLiteral("etaoinshrdlucmfwypvbgkjqxz");
    painter.setFont(QFont(QStringLiteral("DejaVu Serif"), 10));
    for (int line = 0; line < 52; ++line) {
        QString text;
        while (text.size() < 85) {
            for (auto length = 2 + random() % 9; length > 0; --length)
                text += letters[int(std::min(random() % 26, random() % 26))];
            text += QLatin1Char(' ');
        }
        painter.drawText(50, 60 + 14 * line, text);
    }
}

void PaintDrawing(QPainter& painter, int page)
{
    for (int i = 0; i < 400; ++i) {
        QPainterPath path({300 + 250 * std::cos(i * 0.7 + page), 420 + 350 * std::sin(i * 1.1)});
        path.cubicTo(100 + i, 200, 500 - i, 600, 300 + 200 * std::sin(i), 420 + 300 * std::cos(i));
        painter.setPen(QPen(QColor::fromHsv(i % 360, 200, 180), 0.3 + i % 5));
        painter.drawPath(path);
    }
}

/** Text as a scanner sees it: with a grain. */
void PaintScan(QPainter& painter, int page)
{
    QImage scan(1240, 1754, QImage::Format_Grayscale8);
    scan.fill(245);
    {
        QPainter ink(&scan);
        ink.scale(1240 / 595.0, 1754 / 842.0);
        PaintText(ink, page);
    }
    std::mt19937 random{unsigned(page)};
    for (int row = 0; row < scan.height(); ++row) {
        uchar* const pixels = scan.scanLine(row);
        for (int column = 0; column < scan.width(); ++column)
            pixels[column] = uchar(std::clamp(int(pixels[column]) + int(random() % 9) - 4, 0, 255));
    }
    painter.drawImage(QRectF(0, 0, 595, 842), scan);
}

void MakeCorpus(const QDir& folder)
{
    for (const int pages : {1, 14, 100})
        Make(folder.filePath(QStringLiteral("text-%1.pdf").arg(pages)), pages, PaintText);
    Make(folder.filePath("drawing-14.pdf"), 14, PaintDrawing);
    Make(folder.filePath("scan-14.pdf"), 14, PaintScan);
    MakeSamplePdf(folder.filePath("mixed-14.pdf"), 14);
    MakeFormPdf(folder.filePath("form-1.pdf"));
    const std::pair<const char*, Encryption> encryptions[] = {{"rc4-40", Encryption::Rc4_40},
                                                              {"rc4-128", Encryption::Rc4_128},
                                                              {"aes-128", Encryption::Aes128},
                                                              {"aes-256", Encryption::Aes256}};
    for (const auto& [name, encryption] : encryptions)
        EncryptPdf(folder.filePath("text-14.pdf"),
                   folder.filePath(QStringLiteral("text-14-%1.pdf").arg(name)), encryption,
                   "password", "owner");
}

} // namespace

int main(int argc, char** argv)
{
    const PaintingApplication application(argc, argv);
    if (argc != 2 || !QDir().mkpath(argv[1])) {
        std::fputs("usage: make-corpus FOLDER\n", stderr);
        return 2;
    }
    try {
        MakeCorpus(QDir(argv[1]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make-corpus: %s\n", error.what());
        return 1;
    }
}
