#include "FaultCourse.h"
#include "LogCapture.h"

#include <algorithm>
#include <gtest/gtest.h>

// Every call that the wrappers make, ended in every way, in every shape of a chain: what then
// happens is what happens to their model, from the first call to the last share that is given up.

namespace Korvel::PDF::Test {

namespace {

/** The ways to end that make sense for a call. */
enum Kind : unsigned { refusing = 1, throwing = 2, late = 4, callingBack = 8 };

struct CallRow
{
    Call call;
    unsigned kinds;
};

// An exception of RemoveFolder is not among them: the folder is removed by a destructor, which ends
// the program then, and a service that throws there breaks its contract.
const CallRow calls[] = {{Call::GenerateFileName, throwing | callingBack},
                         {Call::GetTempFolder, throwing | callingBack},
                         {Call::RemoveFolder, refusing | callingBack},
                         {Call::Exists, refusing | throwing | callingBack},
                         {Call::Move, refusing | throwing | callingBack},
                         {Call::CreateFolder, refusing | throwing | callingBack},
                         {Call::OpenDocument, refusing | throwing | late | callingBack},
                         {Call::SaveDocument, refusing | throwing | late | callingBack},
                         {Call::CloseDocument, refusing | throwing | late | callingBack},
                         {Call::ConvertFile, refusing | throwing | callingBack},
                         {Call::CancelConvertation, refusing | throwing | callingBack},
                         {Call::GetSupportedFormats, refusing | throwing | callingBack},
                         {Call::DoesServiceAvailable, refusing | throwing | callingBack},
                         {Call::CopyTask, throwing | callingBack}};

struct OutcomeRow
{
    Outcome outcome;
    Kind kind;
};

const OutcomeRow outcomes[] = {{Outcome::Refuses, refusing},
                               {Outcome::Throws, throwing},
                               {Outcome::ThrowsWhatIsNoException, throwing},
                               {Outcome::ThrowsBadAlloc, throwing},
                               {Outcome::HasNoState, late},
                               {Outcome::BreaksItsPromise, late},
                               {Outcome::HoldsAnException, late},
                               {Outcome::IsReadyWhenWaitedFor, late},
                               {Outcome::IsReadyOnAThread, late},
                               {Outcome::StartsATask, callingBack},
                               {Outcome::EndsATask, callingBack},
                               {Outcome::FinishesATask, callingBack}};

constexpr Fault noFault{Call::ConvertFile, Outcome::Usual, 0};

struct Cell
{
    Shape shape;
    Fault fault;
};

/** The outermost wrapper first. */
std::ostream& operator<<(std::ostream& stream, const Cell& cell)
{
    for (auto wrapper = cell.shape.rbegin(); wrapper != cell.shape.rend(); ++wrapper)
        stream << (wrapper == cell.shape.rbegin() ? "" : "Around")
               << (*wrapper == Wrapper::TempFile ? "TempFile" : "Unencrypt");
    if (cell.fault.number == 0)
        return stream << "_Usual";
    return stream << '_' << Name(cell.fault.call) << cell.fault.number << '_'
                  << Name(cell.fault.outcome);
}

/** Both wrappers alone, and all stacks of two and of three. */
std::vector<Shape> Shapes()
{
    std::vector<Shape> shapes{{Wrapper::TempFile}, {Wrapper::Unencrypt}};
    for (std::size_t i = 0; shapes[i].size() < 3; ++i) {
        for (const Wrapper wrapper : {Wrapper::TempFile, Wrapper::Unencrypt}) {
            Shape larger = shapes[i];
            larger.push_back(wrapper);
            shapes.push_back(larger);
        }
    }
    return shapes;
}

/** The first, second and third call of each kind, where the course makes that many. */
std::vector<Cell> Cells()
{
    std::vector<Cell> cells;
    for (const Shape& shape : Shapes()) {
        cells.push_back({shape, noFault});
        FaultCourse usual(shape, noFault, MakeModelStack);
        usual.Run();
        for (const auto& [call, kinds] : calls) {
            for (const auto& [outcome, kind] : outcomes) {
                const int last = (kinds & kind) ? std::min(3, usual.Count(call)) : 0;
                for (int number = 1; number <= last; ++number)
                    cells.push_back({shape, {call, outcome, number}});
            }
        }
    }
    return cells;
}

/** GoogleTest shows the lines in which two texts differ. */
std::string Text(const CallJournal& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

class FaultMatrixTest : public testing::TestWithParam<Cell>
{
public:
    static void SetUpTestSuite() { SilenceLog("FaultMatrixTest"); }
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, FaultMatrixTest, testing::ValuesIn(Cells()),
                         [](const auto& cell) { return testing::PrintToString(cell.param); });

TEST_P(FaultMatrixTest, TheWrappersAgreeWithTheirModel)
{
    const auto& [shape, fault] = GetParam();
    const std::string expected = Text(FaultCourse(shape, fault, MakeModelStack).Run());
    FaultCourse course(shape, fault, MakeRealStack);
    EXPECT_EQ(Text(course.Run()), expected);
    EXPECT_GE(course.Count(fault.call), fault.number);
}

TEST(FaultMatrix, HasMoreThanAThousandCells)
{
    const std::size_t count = Cells().size();
    RecordProperty("cells", std::to_string(count));
    EXPECT_GE(count, 1000u);
}

} // namespace Korvel::PDF::Test
