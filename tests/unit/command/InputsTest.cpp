#include "Inputs.h"

#include "InputOptions.h"
#include "Interruption.h"

#include <fstream>

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace Korvel::App {
namespace {

std::vector<Input> Collect(const InputOptions& options)
{
    const Interruption interruption;
    return CollectInputs(options, {}, {}, interruption);
}

/** The names and problems of what a list of these bytes names. */
QStringList Listed(const std::string& bytes, bool isNulSeparated = false, const char* shard = "")
{
    const QTemporaryDir folder;
    InputOptions options;
    options.list = folder.filePath("list").toStdString();
    options.isListNulSeparated = isNulSeparated;
    options.shard = Shard::Parse(shard);
    std::ofstream(options.list, std::ios::binary) << bytes;
    QStringList names;
    for (const Input& input : Collect(options))
        names.append(input.name + QString::fromStdString(input.problem));
    return names;
}

const std::string mark = "\xef\xbb\xbf";

TEST(InputsTest, OfAListHaveNeitherItsMarkNorTheReturnsOfItsLines)
{
    EXPECT_EQ(Listed(mark + "one.pdf\r\n\r\ntwo.pdf\r\r\nthree.pdf\r"),
              QStringList({"one.pdf", "two.pdf\r", "three.pdf"}));
    EXPECT_EQ(Listed(mark + "\r\none.pdf"), QStringList("one.pdf"));
}

TEST(InputsTest, OfANulSeparatedListKeepTheirReturns)
{
    EXPECT_EQ(Listed(std::string("one.pdf\r\n\0two.pdf\r\0", 19), true),
              QStringList({"one.pdf\r\n", "two.pdf\r"}));
}

TEST(InputsTest, AreInTheSameShareWhateverEndsTheirLines)
{
    std::string unixList;
    std::string windowsList = mark;
    for (const char* const name : {"one.pdf", "two.pdf", "three.pdf", "four.pdf", "five.pdf"}) {
        unixList += name + std::string("\n");
        windowsList += name + std::string("\r\n");
    }
    for (const char* const shard : {"1/2", "2/2"}) {
        EXPECT_FALSE(Listed(unixList, false, shard).isEmpty());
        EXPECT_EQ(Listed(windowsList, false, shard), Listed(unixList, false, shard));
    }
}

TEST(InputsTest, ThatQtCannotNameAreRefusedWithTheReason)
{
    EXPECT_EQ(Listed("one.pdf\n" + mark + "two.pdf\n" + mark.substr(1)),
              QStringList({"one.pdf",
                           "\\xef\\xbb\\xbftwo.pdf"
                           "the name begins with a byte order mark; put ./ in front of it",
                           "\\xbb\\xbfthe name is not valid UTF-8; rename the file"}));
}

struct Named
{
    const char* path;
    const char* baseName;
};

TEST(InputsTest, GiveResultsTheirNamesWithoutSuffixButNeverThatOfAFolder)
{
    for (const auto& [path, baseName] :
         {Named{"folder/a.b.pdf", "a.b"}, Named{"none", "none"}, Named{".hidden.pdf", ".hidden"},
          Named{"....pdf", "..."}, Named{"folder/...pdf", "...pdf"}, Named{"..pdf", "..pdf"},
          Named{"folder/.pdf", ".pdf"}}) {
        InputOptions options;
        options.paths = {path};
        EXPECT_EQ(Collect(options).at(0).baseName.toStdString(), baseName);
    }
}

} // namespace
} // namespace Korvel::App
