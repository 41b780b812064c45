#include "NewFile.h"

#include "GivenFile.h"
#include "RequestError.h"
#include "TestPicture.h"

#include <random>
#include <string>

#include <gtest/gtest.h>
#include <QFile>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Korvel::Worker {
namespace {

using Test::Noise;
using Test::RowsOf;
using Test::ShapeOf;
using Test::Written;

constexpr std::size_t gatheredAtMost = 4 << 20;

class NewFileTest : public testing::Test
{
protected:
    QByteArray Content() const
    {
        QFile written(QString::fromStdString(path));
        EXPECT_TRUE(written.open(QIODevice::ReadOnly));
        return written.readAll();
    }
    bool Exists() const { return QFile::exists(QString::fromStdString(path)); }

    const QTemporaryDir folder;
    const std::string path = folder.filePath("result").toStdString();
    NewFile file{path, 0600, std::uint64_t(1) << 30};
};

TEST_F(NewFileTest, IsMadeWhenItIsKept)
{
    file.Write("text", 4);
    EXPECT_FALSE(Exists());
    file.Keep();
    EXPECT_EQ(Content(), "text");
}

TEST_F(NewFileTest, HoldsWhatWasWrittenLastAtEachPlace)
{
    MemoryOutput expected;
    std::mt19937 random(3);
    for (int i = 0; i < 200; ++i) {
        const std::string bytes(random() % (gatheredAtMost / 16), char('a' + i % 26));
        const std::uint64_t place = random() % (expected.Size() + 1);
        for (Output* const output :
             {static_cast<Output*>(&file), static_cast<Output*>(&expected)}) {
            output->Write(bytes.data(), bytes.size());
            output->WriteAt(place, bytes.data(), std::min<std::size_t>(bytes.size(), 100));
        }
        ASSERT_EQ(file.Size(), expected.Size());
    }
    file.Keep();
    EXPECT_TRUE(Content() == QByteArray::fromStdString(expected.Bytes()));
}

TEST_F(NewFileTest, BeginsAnewWithNothing)
{
    for (const std::size_t size : {std::size_t(10), gatheredAtMost + 10}) {
        const std::string bytes(size, 'x');
        file.Write(bytes.data(), bytes.size());
        file.Clear();
        EXPECT_EQ(file.Size(), 0u);
    }
    file.Write("text", 4);
    file.Keep();
    EXPECT_EQ(Content(), "text");
}

TEST_F(NewFileTest, IsRemovedWhereTheProcessEndsOnTheSpot)
{
    const std::string bytes(gatheredAtMost + 1, 'x');
    file.Write(bytes.data(), bytes.size());
    EXPECT_TRUE(Exists());
    NewFile::RemoveUnfinished();
    EXPECT_FALSE(Exists());
}

TEST_F(NewFileTest, StaysWhereItWasKept)
{
    file.Write("text", 4);
    file.Keep();
    NewFile::RemoveUnfinished();
    EXPECT_EQ(Content(), "text");
}

TEST(GivenFileTest, HoldsWhatWasWrittenLastAndPerhapsARestOfWhatWasCleared)
{
    const PDF::FileDescriptor file(::memfd_create("given", MFD_CLOEXEC));
    GivenFile given(file.Number(), gatheredAtMost + 10);
    const std::string bytes(gatheredAtMost + 10, 'x');
    given.Write(bytes.data(), bytes.size());
    EXPECT_THROW(given.Write("x", 1), RequestError);
    given.Clear();
    EXPECT_THROW(given.Complete(), RequestError) << "nothing was written";
    given.Write("other text", 10);
    given.WriteAt(14, "!", 1);
    EXPECT_EQ(given.Complete(), 15u);
    std::string read(15, ' ');
    EXPECT_EQ(::pread(file.Number(), read.data(), read.size(), 0), 15);
    EXPECT_EQ(read, "other textxxxx!");
}

TEST(GivenFileTest, TellsOfEachFailure)
{
    const PDF::FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
    GivenFile given(full.Number(), gatheredAtMost);
    given.Write("text", 4);
    EXPECT_THROW(given.Complete(), RequestError);
    EXPECT_THROW(given.Complete(), RequestError) << "also when it was taken for harmless";
}

TEST_F(NewFileTest, HoldsLargePicturesOfEachFormatThatComeInPieces)
{
    const QImage picture = Noise({1'500, 1'501}, QImage::Format_RGB32);
    int number = 0;
    for (const char* const format : {"png", "jpg", "tif", "bmp", "webp"}) {
        const std::string name = path + std::to_string(number++);
        NewFile result(name, 0600, std::uint64_t(1) << 30);
        WritePicture(result, ShapeOf(picture), {format}, RowsOf(picture, 100));
        result.Keep();
        QFile written(QString::fromStdString(name));
        ASSERT_TRUE(written.open(QIODevice::ReadOnly));
        EXPECT_TRUE(written.readAll() == Written(picture, {format}, 150, 100)) << format;
    }
}

} // namespace
} // namespace Korvel::Worker
