// Documents whose structure says something else than is there.

#include "WorkerFixture.h"

#include <vector>

#include <QFile>
#include <QImage>

namespace Korvel::Worker {
namespace {

/** A document of a red and a green page, put together by hand. */
struct TwoPages
{
    QByteArray count = "2";
    QByteArray kids = "3 0 R 5 0 R";
    /** The object that is said to lie elsewhere, or 0, and where. */
    int misplaced = 0;
    int place = 20;
    QByteArray before;

    QByteArray Bytes() const
    {
        const auto page = [](const char* content) {
            return QByteArray("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 50 50] /Contents ") +
                   content + " >>";
        };
        const auto stream = [](const char* colour) {
            return QByteArray("<< /Length 24 >>\nstream\n") + colour +
                   " rg 0 0 50 50 re f\nendstream";
        };
        const QByteArray objects[] = {"<< /Type /Catalog /Pages 2 0 R >>",
                                      "<< /Type /Pages /Kids [" + kids + "] /Count " + count +
                                          " >>",
                                      page("4 0 R"),
                                      stream("1 0 0"),
                                      page("6 0 R"),
                                      stream("0 1 0")};
        QByteArray file = "%PDF-1.4\n";
        QByteArray table = "xref\n0 7\n0000000000 65535 f \n";
        int number = 0;
        for (const QByteArray& object : objects) {
            ++number;
            const int offset = number == misplaced ? place : int(file.size());
            table += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
            file += QByteArray::number(number) + " 0 obj\n" + object + "\nendobj\n";
        }
        return before + file + table + "trailer\n<< /Size 7 /Root 1 0 R >>\nstartxref\n" +
               QByteArray::number(file.size()) + "\n%%EOF\n";
    }
};

QByteArray ToBytes(const std::vector<int>& fields)
{
    QByteArray bytes;
    for (const int field : fields)
        bytes += char(field);
    return bytes;
}

/** A document that lists one page again and again, packed so that it takes hardly any bytes. */
QByteArray PackedPages(int count)
{
    const QByteArray objects[] = {"<< /Type /Catalog /Pages 2 0 R >> ",
                                  "<< /Type /Pages /Count " + QByteArray::number(count) +
                                      " /Kids [" + QByteArray("3 0 R ").repeated(count) + "] >> ",
                                  "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 50 50] >> "};
    QByteArray places;
    QByteArray content;
    for (int i = 0; i < 3; ++i) {
        places += QByteArray::number(i + 1) + ' ' + QByteArray::number(content.size()) + ' ';
        content += objects[i];
    }
    const QByteArray packed = qCompress(places + content, 9).mid(4); // without the length
    QByteArray file = "%PDF-1.5\n";
    const int objectStream = int(file.size());
    file += "4 0 obj\n<< /Type /ObjStm /N 3 /First " + QByteArray::number(places.size()) +
            " /Filter /FlateDecode /Length " + QByteArray::number(packed.size()) + " >>\nstream\n" +
            packed + "\nendstream\nendobj\n";
    const int table = int(file.size());
    const auto within = [](int index) {
        return ToBytes({2, 0, 0, 4, index});
    };
    const auto at = [](int offset) {
        return ToBytes({1, offset >> 16, offset >> 8 & 0xff, offset & 0xff, 0});
    };
    const QByteArray entries =
        ToBytes({0, 0, 0, 0, 0}) + within(0) + within(1) + within(2) + at(objectStream) + at(table);
    return file + "5 0 obj\n<< /Type /XRef /Size 6 /W [1 3 1] /Root 1 0 R /Length 30 >>\nstream\n" +
           entries + "\nendstream\nendobj\nstartxref\n" + QByteArray::number(table) + "\n%%EOF\n";
}

class PdfStructureTest : public WorkerFixture
{
protected:
    /** The colours of both pages. */
    void ExpectRedAndGreen(const QString& file)
    {
        const QColor colours[] = {QColor(255, 0, 0), QColor(0, 255, 0)};
        for (const int page : {1, 2}) {
            const QString output = Path(QStringLiteral("page-%1.png").arg(++lastId));
            EXPECT_EQ(Outcome(Convert(file, output, "png", {{"page", page}})), "ok");
            EXPECT_EQ(QImage(output).pixelColor(10, 10), colours[page - 1]) << page;
        }
    }

    /** Whether it was repaired; the two pages are to be seen in it, and in a sound copy. */
    bool IsRepaired(const QByteArray& bytes)
    {
        const QString file = WriteFile(QStringLiteral("two-%1.pdf").arg(++lastId), bytes);
        const int document = lastId;
        const QJsonObject answer = Open(file, {}, document);
        EXPECT_EQ(Outcome(answer), "ok");
        EXPECT_EQ(answer["pages"].toInt(), 2);
        ExpectRedAndGreen(file);

        const QString copy = file + ".copy";
        EXPECT_EQ(Outcome(Save(copy, document)), "ok");
        EXPECT_FALSE(Open(copy, {}, document + 1'000'000)["repaired"].toBool(true));
        ExpectRedAndGreen(copy);
        return answer["repaired"].toBool();
    }
};

TEST_F(PdfStructureTest, IsLeftAloneWhenItIsSound)
{
    EXPECT_FALSE(IsRepaired(TwoPages().Bytes()));
}

TEST_F(PdfStructureTest, CountsPlacesFromTheHeader)
{
    TwoPages mailed;
    mailed.before = "Subject: two pages\r\n\r\n";
    EXPECT_FALSE(IsRepaired(mailed.Bytes()));
}

TEST_F(PdfStructureTest, FindsEveryObjectThatLiesElsewhere)
{
    TwoPages pages;
    for (pages.misplaced = 1; pages.misplaced <= 6; ++pages.misplaced)
        EXPECT_TRUE(IsRepaired(pages.Bytes())) << pages.misplaced;
    pages.misplaced = 4;
    for (const int place : {1, 400, 1'000'000'000}) {
        pages.place = place;
        EXPECT_TRUE(IsRepaired(pages.Bytes())) << place;
    }
}

TEST_F(PdfStructureTest, CountsThePagesItself)
{
    TwoPages pages;
    for (const char* count : {"0", "1", "3", "-1", "100000", "(2)"}) {
        pages.count = count;
        EXPECT_TRUE(IsRepaired(pages.Bytes())) << count;
    }
}

TEST_F(PdfStructureTest, HasNoPagesButDictionaries)
{
    TwoPages pages;
    for (const char* kids : {"3 0 R 5 0 R (text)", "3 0 R 1 5 0 R", "null 3 0 R 5 0 R",
                             "3 0 R 5 0 R 99 0 R", "3 0 R 5 0 R 4 0 R"}) {
        pages.kids = kids;
        for (const char* count : {"2", "3"}) {
            pages.count = count;
            EXPECT_TRUE(IsRepaired(pages.Bytes())) << kids << " counted as " << count;
        }
    }
}

TEST_F(PdfStructureTest, IsDamagedBeyondRepairWhenNoPageIsLeft)
{
    TwoPages pages;
    pages.kids = "(text) 4 0 R 0";
    EXPECT_EQ(Outcome(Open(WriteFile("none.pdf", pages.Bytes()))), "damaged");
}

TEST_F(PdfStructureTest, ListsNoMorePagesThanTheBytesOfTheFileCanHold)
{
    const QByteArray few = PackedPages(100);
    const QByteArray many = PackedPages(1'000'000);
    ASSERT_GT(few.size(), 100);
    ASSERT_LT(many.size(), 10'000);
    EXPECT_EQ(Open(WriteFile("few.pdf", few))["pages"].toInt(), 100);
    const QString file = WriteFile("many.pdf", many);
    EXPECT_EQ(Outcome(Open(file)), "too-many-pages");
    EXPECT_EQ(Outcome(Convert(file, Path("out.png"), "png", {{"page", 1}})), "too-many-pages");
}

TEST_F(PdfStructureTest, IsReadFromFilesLargerThanHalfOfTheMemory)
{
    QByteArray bytes = TwoPages().Bytes();
    const auto table = bytes.indexOf("xref");
    constexpr qint64 size = qint64(600) * 1024 * 1024;
    QFile file(Path("large.pdf"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    bytes.replace(bytes.lastIndexOf("startxref"), bytes.size(),
                  "startxref\n" + QByteArray::number(size) + "\n%%EOF\n");
    file.write(bytes.left(table));
    ASSERT_TRUE(file.seek(size));
    file.write(bytes.mid(table));
    file.close();
    ExpectRedAndGreen(file.fileName());
}

} // namespace
} // namespace Korvel::Worker
