// How documents are opened, described and saved.

#include "SamplePdf.h"
#include "WorkerFixture.h"

#include <ctime>
#include <functional>
#include <map>
#include <tuple>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QThread>

#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Korvel::Worker {
namespace {

class OpenTest : public WorkerFixture
{
protected:
    /** What opening a file of these bytes comes to. */
    std::string OpenBytes(const QByteArray& bytes)
    {
        return Outcome(Open(WriteFile("bytes.pdf", bytes)));
    }
};

TEST_F(OpenTest, DescribesADocument)
{
    const QJsonObject answer = Open(Sample(3));
    EXPECT_EQ(Outcome(answer), "ok");
    EXPECT_EQ(answer["pages"].toInt(), 3);
    EXPECT_TRUE(answer["encrypted"].isBool());
    EXPECT_FALSE(answer["encrypted"].toBool());
    EXPECT_FALSE(answer.contains("encryption"));
    EXPECT_TRUE(answer["repaired"].isBool());
    EXPECT_FALSE(answer["repaired"].toBool());
    EXPECT_EQ(answer["version"].toString(), "1.4");
    const QJsonObject properties = answer["properties"].toObject();
    EXPECT_EQ(properties["Title"].toString(), "Sample");
    EXPECT_EQ(properties["Creator"].toString(), "pdfconvert");
    EXPECT_TRUE(properties["CreationDate"].toString().startsWith("D:20"));
    EXPECT_FALSE(properties.contains("Subject"));
}

TEST_F(OpenTest, TellsTheVersionThatTheCatalogRaises)
{
    const auto version = [this](const QByteArray& inCatalog) {
        const QJsonObject answer =
            Open(WriteFile("version.pdf", "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages 2 0 R " +
                                              inCatalog +
                                              " >>\nendobj\n"
                                              "2 0 obj\n<< /Type /Pages /Kids [3 0 R] /Count 1 >>\n"
                                              "endobj\n3 0 obj\n<< /Type /Page /Parent 2 0 R "
                                              "/MediaBox [0 0 9 9] >>\nendobj\n"
                                              "trailer\n<< /Root 1 0 R >>\n"),
                 {}, ++lastId);
        return answer["version"].toString().toStdString();
    };
    EXPECT_EQ(version(""), "1.4");
    EXPECT_EQ(version("/Version /1.7"), "1.7");
    EXPECT_EQ(version("/Version /2.0"), "2.0");
    EXPECT_EQ(version("/Version /1.3"), "1.4");
    EXPECT_EQ(version("/Version /nonsense"), "1.4");
    EXPECT_EQ(version("/Version (1.7)"), "1.4");
}

TEST_F(OpenTest, TellsWhyAFileIsNotReadable)
{
    EXPECT_EQ(Outcome(Open(Path("missing.pdf"))), "unreadable");
    EXPECT_EQ(Outcome(Open(folder.path())), "unreadable");
    ASSERT_EQ(mkfifo(Path("fifo").toUtf8().constData(), 0600), 0);
    EXPECT_EQ(Outcome(Open(Path("fifo"))), "unreadable");
    EXPECT_EQ(Outcome(Open(Sample() + QChar(u'\0') + "rest")), "unreadable");
    EXPECT_EQ(Outcome(Open("/dev/null")), "unreadable");
}

TEST_F(OpenTest, NamesTheReasonOfTheSystemInTheMessage)
{
    EXPECT_EQ(Open(Path("missing.pdf"))["message"].toString(), "No such file or directory");
    EXPECT_EQ(Open(Sample() + "/below.pdf")["message"].toString(), "Not a directory");
}

TEST_F(OpenTest, TellsEmptyForeignAndDamagedFilesApart)
{
    EXPECT_EQ(OpenBytes(""), "empty");
    EXPECT_EQ(OpenBytes("no PDF at all"), "not-a-pdf");
    EXPECT_EQ(OpenBytes(QByteArray(3000, 'x') + "%PDF-1.7\n"), "not-a-pdf");
    EXPECT_EQ(OpenBytes("%PDF-1.7\n" + QByteArray(5000, 'x')), "damaged");
}

TEST_F(OpenTest, OpensADocumentAfterOtherBytes)
{
    const QJsonObject answer =
        Open(WriteFile("mailed.pdf", QByteArray(500, '\n') + ReadFile(Sample())));
    EXPECT_EQ(Outcome(answer), "ok");
    EXPECT_EQ(answer["pages"].toInt(), 1);
}

TEST_F(OpenTest, CallsADocumentWithoutPagesDamaged)
{
    MakePdfWithoutPages(Path("none.pdf"));
    EXPECT_EQ(Outcome(Open(Path("none.pdf"))), "damaged");
}

TEST_F(OpenTest, RepairsADocumentAndSavesItWhole)
{
    const QString broken = Sample(2);
    BreakCrossReferences(broken);
    const QJsonObject answer = Open(broken);
    EXPECT_EQ(Outcome(answer), "ok");
    EXPECT_TRUE(answer["repaired"].toBool());
    EXPECT_EQ(answer["pages"].toInt(), 2);

    EXPECT_EQ(Outcome(Save(Path("mended.pdf"))), "ok");
    const QJsonObject mended = Open(Path("mended.pdf"), {}, 2);
    EXPECT_EQ(Outcome(mended), "ok");
    EXPECT_FALSE(mended["repaired"].toBool());
    EXPECT_EQ(mended["pages"].toInt(), 2);
}

TEST_F(OpenTest, KeepsStreamsWhoseLengthIsMissing)
{
    const QString sample = Sample();
    ASSERT_EQ(Outcome(Convert(sample, Path("before.txt"), "txt")), "ok");
    LoseStreamLengths(sample);
    EXPECT_EQ(Outcome(Open(sample)), "ok");
    EXPECT_EQ(Outcome(Save(Path("saved.pdf"))), "ok");
    EXPECT_EQ(Outcome(Convert(Path("saved.pdf"), Path("after.txt"), "txt")), "ok");
    EXPECT_EQ(ReadFile(Path("after.txt")), ReadFile(Path("before.txt")));
}

// Passwords

class PasswordTest : public WorkerFixture, public testing::WithParamInterface<Encryption>
{
protected:
    QString Encrypted(const QByteArray& user, const QByteArray& owner)
    {
        const QString path = Path("encrypted.pdf");
        EncryptPdf(Sample(2), path, GetParam(), user, owner);
        return path;
    }
};

INSTANTIATE_TEST_SUITE_P(Encryptions, PasswordTest,
                         testing::Values(Encryption::Rc4_40, Encryption::Rc4_128,
                                         Encryption::Aes128, Encryption::Aes256));

TEST_P(PasswordTest, TellsTheMethodAndTheLengthOfTheKey)
{
    const QJsonObject told = Open(Encrypted("user", "owner"), "user")["encryption"].toObject();
    const std::map<Encryption, QPair<QString, int>> expected{{Encryption::Rc4_40, {"RC4", 40}},
                                                             {Encryption::Rc4_128, {"RC4", 128}},
                                                             {Encryption::Aes128, {"AES", 128}},
                                                             {Encryption::Aes256, {"AES", 256}}};
    EXPECT_EQ(qMakePair(told["method"].toString(), told["bits"].toInt()), expected.at(GetParam()));
}

TEST_P(PasswordTest, TellsWhichPasswordOpenedIt)
{
    const auto openedWith = [this](const QString& path, const char* password) {
        return Open(path, password, ++lastId)["encryption"]
            .toObject()["openedWith"]
            .toString()
            .toStdString();
    };
    const QString locked = Encrypted("user", "owner");
    EXPECT_EQ(openedWith(locked, "user"), "user");
    EXPECT_EQ(openedWith(locked, "owner"), "owner");
    EXPECT_EQ(openedWith(Encrypted("same", "same"), "same"), "both");
    const QString readable = Encrypted("", "owner");
    EXPECT_EQ(openedWith(readable, ""), "empty");
    EXPECT_EQ(openedWith(readable, "owner"), "empty") << "which is tried first";
    EXPECT_EQ(openedWith(Encrypted("", ""), ""), "empty");
}

TEST_P(PasswordTest, TellsWhichPasswordOpenedADocumentWithoutOwnerPassword)
{
    // Older documents take the user password for that of the owner; newer ones open without any.
    const char* const expected = GetParam() == Encryption::Aes256 ? "empty" : "both";
    EXPECT_EQ(Open(Encrypted("user", ""), "user")["encryption"].toObject()["openedWith"].toString(),
              expected);
}

struct DeniedRow
{
    bool Allowed::*denied;
    QStringList by40Bits; // which have fewer permissions: some deny more, others cannot be told
    QStringList byMore;
};

const DeniedRow deniedRows[] = {
    {&Allowed::print, {"print", "printHighResolution"}, {"print", "printHighResolution"}},
    {&Allowed::modify, {"assemble", "modify"}, {"modify"}},
    {&Allowed::copy, {"accessibility", "copy"}, {"copy"}},
    {&Allowed::annotate, {"annotate", "fillForms"}, {"annotate"}},
    {&Allowed::printHighResolution, {}, {"printHighResolution"}},
    {&Allowed::fillForms, {}, {"fillForms"}},
    {&Allowed::assemble, {}, {"assemble"}}};

/** The names of what is not allowed, of the eight permissions. */
QStringList Denied(const QJsonObject& answer)
{
    const QJsonObject permissions = answer["encryption"].toObject()["permissions"].toObject();
    EXPECT_EQ(permissions.size(), 8);
    QStringList denied;
    for (auto permission = permissions.begin(); permission != permissions.end(); ++permission) {
        EXPECT_TRUE(permission.value().isBool()) << permission.key().toStdString();
        if (!permission.value().toBool())
            denied.append(permission.key());
    }
    return denied;
}

TEST_P(PasswordTest, TellsWhatTheDocumentAllows)
{
    const QString sample = Sample();
    for (const DeniedRow& row : deniedRows) {
        Allowed allowed;
        allowed.*row.denied = false;
        EncryptPdf(sample, Path("limited.pdf"), GetParam(), "user", "owner", allowed);
        for (const char* password : {"user", "owner"})
            EXPECT_EQ(Denied(Open(Path("limited.pdf"), password, ++lastId)),
                      GetParam() == Encryption::Rc4_40 ? row.by40Bits : row.byMore)
                << row.byMore.join(' ').toStdString();
    }
    EXPECT_EQ(Denied(Open(Encrypted("user", "owner"), "user", ++lastId)), QStringList());
}

TEST_F(OpenTest, TellsTheMethodOfWhatIsEncrypted)
{
    EncryptPdf(Sample(), Path("aes.pdf"), Encryption::Aes128, "", "owner");
    const QByteArray bytes = ReadFile(Path("aes.pdf"));
    const auto method = [&](const QByteArray& before, const QByteArray& after) {
        EXPECT_TRUE(bytes.contains(before));
        const QString path = WriteFile("changed.pdf", QByteArray(bytes).replace(before, after));
        return Open(path, {}, ++lastId)["encryption"].toObject()["method"].toString();
    };
    EXPECT_EQ(method("/StmF /StdCF", "/StmF /Identity"), "AES") << "the strings";
    EXPECT_EQ(method("/AESV2", "/V2"), "RC4");
    EXPECT_EQ(method("/AESV2", "/None"), "other");
}

TEST_F(OpenTest, TellsThatADocumentDeniesAccessibility)
{
    Allowed allowed;
    allowed.accessibility = false; // which libqpdf would grant in newer documents all the same
    EncryptPdf(Sample(), Path("rc4.pdf"), Encryption::Rc4_128, "", "owner", allowed);
    EXPECT_EQ(Denied(Open(Path("rc4.pdf"))), QStringList("accessibility"));
}

TEST_P(PasswordTest, TakesTheUserAndTheOwnerPasswordAlike)
{
    const QString path = Encrypted("user", "owner");
    int document = 0;
    for (const char* password : {"user", "owner"}) {
        const QJsonObject answer = Open(path, password, ++document);
        EXPECT_EQ(Outcome(answer), "ok") << password;
        EXPECT_TRUE(answer["encrypted"].toBool());
        EXPECT_FALSE(answer["repaired"].toBool());
        EXPECT_EQ(answer["pages"].toInt(), 2);
        EXPECT_EQ(answer["properties"].toObject()["Title"].toString(), "Sample");
    }
}

TEST_P(PasswordTest, TellsAWrongPasswordFromNone)
{
    const QString path = Encrypted("user", "owner");
    EXPECT_EQ(Outcome(Open(path, "User")), "wrong-password");
    EXPECT_EQ(Outcome(Open(path, "userx")), "wrong-password");
    EXPECT_EQ(Outcome(Open(path, "")), "no-password");
    EXPECT_EQ(Outcome(worker.Ask({{"id", 9}, {"op", "open"}, {"document", 1}, {"file", path}})),
              "no-password");
    EXPECT_EQ(Outcome(Convert(path, Path("out.pdf"), "pdf")), "no-password");
    EXPECT_EQ(Outcome(Convert(path, Path("out.png"), "png", {{"page", 1}})), "no-password");
}

TEST_P(PasswordTest, OpensWithTheEmptyPasswordWhateverIsGiven)
{
    const QString path = Encrypted("", "owner");
    int document = 0;
    for (const char* password : {"", "owner", "something else"}) {
        const QJsonObject answer = Open(path, password, ++document);
        EXPECT_EQ(Outcome(answer), "ok") << password;
        EXPECT_TRUE(answer["encrypted"].toBool());
    }
}

TEST_P(PasswordTest, ConvertsWhatTheEmptyPasswordOpens)
{
    const QString path = Encrypted("", "owner");
    EXPECT_EQ(Outcome(Convert(path, Path("out.png"), "png", {{"page", 2}})), "ok");
    EXPECT_EQ(Outcome(Convert(path, Path("out.txt"), "txt")), "ok");
    EXPECT_TRUE(ReadFile(Path("out.txt")).contains("Page 2"));
}

TEST_P(PasswordTest, SavesACopyWithoutEncryption)
{
    EXPECT_EQ(Outcome(Open(Encrypted("user", "owner"), "user")), "ok");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
    const QJsonObject copy = Open(Path("copy.pdf"), {}, 2);
    EXPECT_EQ(Outcome(copy), "ok");
    EXPECT_FALSE(copy["encrypted"].toBool());
    EXPECT_FALSE(copy["repaired"].toBool());
    EXPECT_EQ(copy["pages"].toInt(), 2);
    EXPECT_EQ(Outcome(Convert(Path("copy.pdf"), Path("copy.txt"), "txt")), "ok");
    EXPECT_TRUE(ReadFile(Path("copy.txt")).contains("Page 2"));
}

TEST_P(PasswordTest, SavesEqualCopiesByteByByteEachTime)
{
    const auto copyOf = [this](const QString& path, const QString& copy) {
        worker.Restart();
        EXPECT_EQ(Outcome(Open(path, "user")), "ok");
        EXPECT_EQ(Outcome(Save(Path(copy))), "ok");
        QByteArray bytes = ReadFile(Path(copy));
        QFile::remove(Path(copy));
        return bytes;
    };
    const auto expectEqualCopies = [&](const QString& path) {
        const QByteArray first = copyOf(path, "first.pdf");
        EXPECT_TRUE(first.contains("/ID"));
        EXPECT_EQ(copyOf(path, "at once.pdf"), first);
        for (const auto second = std::time(nullptr); std::time(nullptr) == second;)
            QThread::msleep(10);
        EXPECT_EQ(copyOf(path, "in the next one.pdf"), first);
    };
    const QString path = Encrypted("user", "owner");
    expectEqualCopies(path);
    BreakCrossReferences(path);
    expectEqualCopies(path);
}

TEST_P(PasswordTest, TakesAPasswordInAnotherEncodingThanTheDocuments)
{
    const QString password = QStringLiteral("Gr\u00fc\u00dfe \u00e9");
    EXPECT_EQ(Outcome(Open(Encrypted(password.toLatin1(), "owner"), password.toUtf8(), 1)), "ok");
    EXPECT_EQ(Outcome(Open(Encrypted(password.toUtf8(), "owner"), password.toLatin1(), 2)), "ok");
    EXPECT_EQ(Outcome(Open(Encrypted("user", password.toUtf8()), password.toUtf8(), 3)), "ok");
    // The euro sign is 0xa0 in the encoding of PDF, and 0x80 in that of Windows.
    EXPECT_EQ(Outcome(Open(Encrypted("5 \xa0", "owner"), "5 \u20ac", 4)), "ok");
    EXPECT_EQ(Outcome(Open(Encrypted("5 \x80", "owner"), "5 \u20ac", 5)), "ok");
}

TEST_P(PasswordTest, TakesNoPartOfAPassword)
{
    const QString path = Encrypted("user", "owner");
    EXPECT_EQ(Outcome(Open(path, QByteArray("user\0name", 9))), "wrong-password");
    EXPECT_EQ(Outcome(Open(path, QByteArray("user\0", 5))), "wrong-password");
}

TEST_P(PasswordTest, OpensADocumentThatIsEncryptedAndDamaged)
{
    const QString path = Encrypted("user", "owner");
    BreakCrossReferences(path);
    const QJsonObject answer = Open(path, "user");
    EXPECT_EQ(Outcome(answer), "ok");
    EXPECT_TRUE(answer["repaired"].toBool());
    EXPECT_TRUE(answer["encrypted"].toBool());
    EXPECT_EQ(Outcome(Open(path, "wrong", 2)), "wrong-password");
}

TEST_P(PasswordTest, NeverTellsAPassword)
{
    const QString path = Encrypted("open sesame", "owner");
    for (const char* password : {"open sesame", "sesame, open"}) {
        const QJsonObject answer = Open(path, password);
        for (const QJsonValue value : answer)
            EXPECT_FALSE(value.toString().contains("sesame")) << value.toString().toStdString();
    }
    EXPECT_EQ(worker.Finish(), 0);
    const QByteArray complaints = worker.Complaints();
    EXPECT_FALSE(complaints.contains("sesame")) << complaints.constData();
    EXPECT_FALSE(complaints.contains(QByteArray("sesame").toBase64()));
}

TEST_F(OpenTest, TellsUnsupportedEncryption)
{
    EncryptPdf(Sample(), Path("rc4.pdf"), Encryption::Rc4_128, "", "owner");
    QByteArray bytes = ReadFile(Path("rc4.pdf"));
    ASSERT_TRUE(bytes.contains("/Filter /Standard"));
    bytes.replace("/Filter /Standard", "/Filter /Unknown1");
    EXPECT_EQ(OpenBytes(bytes), "unsupported-encryption");
}

// Saved copies

class SaveTest : public WorkerFixture
{
protected:
    void SetUp() override { ASSERT_EQ(Outcome(Open(Sample(5))), "ok"); }
};

mode_t Mode(const QString& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(path.toUtf8().constData(), &status), 0) << path.toStdString();
    return status.st_mode & 07777;
}

TEST_F(SaveTest, WritesACopyOfAllPages)
{
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
    EXPECT_EQ(Open(Path("copy.pdf"), {}, 2)["pages"].toInt(), 5);
}

TEST_F(SaveTest, CopiesWhatIsSoundAndNotEncryptedByteByByte)
{
    const QByteArray original = ReadFile(Path("sample-5.pdf"));
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
    EXPECT_EQ(ReadFile(Path("copy.pdf")), original);
}

TEST_F(SaveTest, CopiesNoOtherBytesBeforeOrBehindADocument)
{
    const QByteArray sample = ReadFile(Path("sample-5.pdf"));
    const QByteArray before[] = {"\n", "From: somebody\n", "", ""};
    const QByteArray behind[] = {"", "", "\n<html>", "%"};
    for (int i = 0; i < 4; ++i) {
        const QString output = Path(QString("out-%1.pdf").arg(i));
        const QString input =
            WriteFile(QString("in-%1.pdf").arg(i), before[i] + sample + behind[i]);
        worker.Restart();
        ASSERT_EQ(Outcome(Convert(input, output, "pdf")), "ok") << i;
        const QByteArray made = ReadFile(output);
        EXPECT_TRUE(made.startsWith("%PDF-")) << i;
        EXPECT_TRUE(made.trimmed().endsWith("%%EOF")) << i;
    }
}

TEST_F(SaveTest, SavesTheSameDocumentTwice)
{
    EXPECT_EQ(Outcome(Save(Path("first.pdf"))), "ok");
    EXPECT_EQ(Outcome(Save(Path("second.pdf"))), "ok");
    EXPECT_EQ(ReadFile(Path("second.pdf")), ReadFile(Path("first.pdf")));
}

TEST_F(SaveTest, SavesADocumentWhoseFileIsGone)
{
    ASSERT_TRUE(QFile::remove(Path("sample-5.pdf")));
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
    EXPECT_EQ(Open(Path("copy.pdf"), {}, 2)["pages"].toInt(), 5);
}

TEST_F(SaveTest, SavesNoMixtureOfADocumentThatWasChangedSinceItWasOpened)
{
    const QString path = Path("sample-5.pdf");
    QFile file(path);
    const auto saveAfter = [&](const std::function<void()>& change) {
        worker.Restart();
        EXPECT_EQ(Outcome(Open(path)), "ok");
        change();
        const std::string outcome = Outcome(Save(Path("copy.pdf")));
        EXPECT_FALSE(QFile::exists(Path("copy.pdf")));
        return outcome;
    };
    EXPECT_EQ(saveAfter([&] {
                  ASSERT_TRUE(file.open(QIODevice::ReadWrite));
                  ASSERT_EQ(file.write("%PDF-9"), 6);
                  file.close();
              }),
              "changed");
    EXPECT_EQ(saveAfter([&] { ASSERT_TRUE(file.resize(file.size() - 10)); }), "changed");
    EXPECT_EQ(saveAfter([&] {
                  ASSERT_TRUE(QFile::copy(path, Path("other.pdf")));
                  ASSERT_EQ(
                      ::rename(Path("other.pdf").toUtf8().constData(), path.toUtf8().constData()),
                      0);
              }),
              "changed");
}

TEST_F(SaveTest, EndsAsChangedWhereMuchOfADocumentIsGone)
{
    const QString path = Path("sample-5.pdf");
    QByteArray bytes = ReadFile(path);
    bytes.insert(bytes.lastIndexOf("startxref"), QByteArray(1 << 20, '\n'));
    ASSERT_EQ(WriteFile("sample-5.pdf", bytes), path);
    worker.Restart();
    ASSERT_EQ(Outcome(Open(path)), "ok");
    ASSERT_TRUE(QFile::resize(path, 5000));
    const std::string outcome = Outcome(Save(Path("copy.pdf")));
    if (outcome == "changed") {
        EXPECT_FALSE(QFile::exists(Path("copy.pdf")));
    } else {
        EXPECT_EQ(outcome, "nothing") << "met while reading, and the process with its copy is lost";
        EXPECT_EQ(worker.Finish(), 79);
    }
}

TEST_F(SaveTest, TakesALinkMoreForNoChange)
{
    const QString path = Path("sample-5.pdf");
    worker.Restart();
    ASSERT_EQ(Outcome(Open(path)), "ok");
    ASSERT_EQ(::link(path.toUtf8().constData(), Path("link.pdf").toUtf8().constData()), 0);
    EXPECT_EQ(Outcome(Save(Path("copy.pdf"))), "ok");
}

TEST_F(SaveTest, MakesCopiesForTheOwnerAloneAndResultsByTheUmask)
{
    WorkerClient generous("umask 000");
    // Modes that never change are those of the making.
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(inotify_add_watch(watch, folder.path().toUtf8().constData(), IN_ATTRIB), 0);
    generous.Ask({{"id", 1}, {"op", "open"}, {"document", 1}, {"file", Path("sample-5.pdf")}});
    generous.Ask({{"id", 2}, {"op", "save"}, {"document", 1}, {"file", Path("copy.pdf")}});
    generous.Ask({{"id", 3},
                  {"op", "convert"},
                  {"file", Path("sample-5.pdf")},
                  {"output", Path("result.txt")},
                  {"format", "txt"}});
    EXPECT_EQ(Mode(Path("copy.pdf")), 0600u);
    EXPECT_EQ(Mode(Path("result.txt")), 0666u);
    char events[4096];
    EXPECT_EQ(::read(watch, events, sizeof events), -1) << "the mode was changed";
    ::close(watch);
}

TEST_F(SaveTest, MakesResultsByAStrictUmask)
{
    WorkerClient strict("umask 027");
    for (const char* format : {"txt", "pdf"})
        strict.Ask({{"id", 1},
                    {"op", "convert"},
                    {"file", Path("sample-5.pdf")},
                    {"output", Path("result.") + format},
                    {"format", format}});
    EXPECT_EQ(Mode(Path("result.txt")), 0640u);
    EXPECT_EQ(Mode(Path("result.pdf")), 0640u);
}

TEST_F(SaveTest, MakesNoFileThatIsLargerThanItMayBe)
{
    WorkerClient limited("set -- --file-limit 1");
    WorkerClient unlimited("set -- --file-limit 0");
    const auto convert = [this](WorkerClient& client, int resolution) {
        return Outcome(client.Ask({{"id", 1},
                                   {"op", "convert"},
                                   {"file", Path("sample-5.pdf")},
                                   {"output", Path("page.bmp")},
                                   {"format", "bmp"},
                                   {"page", 1},
                                   {"resolution", resolution}}));
    };
    EXPECT_EQ(convert(limited, 150), "too-large");
    EXPECT_FALSE(QFile::exists(Path("page.bmp")));
    EXPECT_EQ(convert(limited, 40), "ok") << "goes on";
    EXPECT_TRUE(QFile::remove(Path("page.bmp")));
    EXPECT_EQ(convert(unlimited, 150), "ok");
}

TEST_F(SaveTest, NeverTouchesWhatIsThere)
{
    const QString file = WriteFile("file", "precious");
    ASSERT_TRUE(QFile::link(Path("nowhere"), Path("dangling")));
    ASSERT_TRUE(QFile::link(file, Path("link")));
    ASSERT_TRUE(QDir().mkdir(Path("folder")));
    for (const char* name : {"file", "dangling", "link", "folder"}) {
        EXPECT_EQ(Outcome(Save(Path(name))), "cannot-write") << name;
        EXPECT_EQ(Outcome(Convert(Path("sample-5.pdf"), Path(name), "pdf")), "cannot-write");
        EXPECT_EQ(Outcome(Convert(Path("sample-5.pdf"), Path(name), "txt")), "cannot-write");
    }
    EXPECT_EQ(ReadFile(file), "precious");
    EXPECT_TRUE(QFileInfo(Path("dangling")).isSymLink());
    EXPECT_TRUE(QFileInfo(Path("link")).isSymLink());
    EXPECT_TRUE(QFileInfo(Path("folder")).isDir());
    EXPECT_FALSE(QFile::exists(Path("nowhere")));
}

TEST_F(SaveTest, TellsThatItCannotWrite)
{
    const QJsonObject answer = Save(Path("no/such/folder/copy.pdf"));
    EXPECT_EQ(Outcome(answer), "cannot-write");
    EXPECT_EQ(answer["message"].toString(), "No such file or directory");
    EXPECT_EQ(Outcome(Save("/proc/copy.pdf")), "cannot-write");
    EXPECT_EQ(Outcome(Save(Path("copy.pdf") + QChar(u'\0') + "rest")), "cannot-write");
    EXPECT_FALSE(QFile::exists(Path("copy.pdf")));
}

TEST_F(SaveTest, LeavesNothingBehindWhenFilesMayNotGrow)
{
    WorkerClient limited("ulimit -f 2");
    const QString source = Path("sample-5.pdf");
    limited.Ask({{"id", 1}, {"op", "open"}, {"document", 1}, {"file", source}});
    QJsonObject convert{{"id", 3},         {"op", "convert"},
                        {"file", source},  {"output", Path("result")},
                        {"format", "bmp"}, {"page", 1}};
    EXPECT_EQ(Outcome(limited.Ask(
                  {{"id", 2}, {"op", "save"}, {"document", 1}, {"file", Path("result")}})),
              "cannot-write");
    EXPECT_EQ(Outcome(limited.Ask(convert)), "cannot-write");
    convert["format"] = "pdf";
    EXPECT_EQ(Outcome(limited.Ask(convert)), "cannot-write");
    EXPECT_FALSE(QFile::exists(Path("result")));
}

class FullDiskTest : public SaveTest
{
protected:
    void SetUp() override
    {
        SaveTest::SetUp();
        ASSERT_TRUE(QDir().mkdir(Disk()));
        if (::mount("none", Disk().toUtf8().constData(), "tmpfs", 0, "size=16k") != 0)
            GTEST_SKIP() << "only root may mount a small disk";
        mounted = true;
    }

    void TearDown() override
    {
        if (mounted)
            ::umount(Disk().toUtf8().constData());
    }

    QString Disk() const { return Path("disk"); }

    bool mounted = false;
};

TEST_F(FullDiskTest, LeavesNothingBehind)
{
    const QString source = Path("sample-5.pdf");
    const QString target = Disk() + "/result";
    const QList<QJsonObject> answers{
        Save(target), Convert(source, target, "pdf"), Convert(source, target, "bmp", {{"page", 1}}),
        Convert(source, target, "png", {{"page", 1}, {"resolution", 60}})};
    for (const QJsonObject& answer : answers) {
        EXPECT_EQ(Outcome(answer), "cannot-write");
        EXPECT_TRUE(answer["message"].toString().contains("No space left on device"))
            << answer["message"].toString().toStdString();
    }
    EXPECT_TRUE(QDir(Disk()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

} // namespace
} // namespace Korvel::Worker
