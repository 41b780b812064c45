#include "Streams.h"

#include "Interruption.h"

#include <fstream>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include <QTemporaryDir>

namespace Korvel::App {

TEST(ReadingTest, GivesThePiecesOfAFileHoweverLongTheyAre)
{
    const QTemporaryDir folder;
    const std::string file = folder.filePath("pieces").toStdString();
    const std::vector<std::string> pieces{
        "", "a", std::string(65'535, 'b'), "", std::string(65'536, 'c'), std::string(200'000, 'd'),
        "e"};
    std::ofstream output(file, std::ios::binary);
    for (const std::string& piece : pieces)
        output << piece << '\n';
    output << "without an end" << std::flush;

    const Interruption interruption;
    std::vector<std::string> taken;
    ReadPieces(file, '\n', interruption,
               [&taken](std::string_view piece) { taken.emplace_back(piece); });
    ASSERT_EQ(taken.size(), pieces.size() + 1);
    EXPECT_EQ(taken.back(), "without an end");
    taken.pop_back();
    EXPECT_TRUE(taken == pieces);
    EXPECT_THROW(ReadPieces(file + ".missing", '\n', interruption, {}), std::system_error);
}

} // namespace Korvel::App
