// Runs the kit on broken objects. What the kit says of each of them must name the promise that it
// breaks; the program fails for every fault that went unnoticed.

#include <iostream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <QCoreApplication>

namespace {

/** The broken object -> what the kit has to say of it. */
const std::map<std::string, std::string> faults{
    {"Repeated", "IFileNameGenerator::GenerateFileName must never repeat a stem"},
    {"Empty", "IFileNameGenerator::GenerateFileName must not answer an empty stem"},
    {"WithSeparator",
     "IFileNameGenerator::GenerateFileName must answer a stem without a separator"},
    {"InLatin1", "IFileNameGenerator::GenerateFileName must answer UTF-8"},
    {"WithExtension",
     "IFileNameGenerator::GenerateFileName must answer a stem without an extension"},
    {"TooLong", "IFileNameGenerator::GenerateFileName must answer a stem that can name a file"},

    {"ThrowsWhenAsked", "IFileSystem::Exists must throw nothing"},
    {"SeesNoFolder", "IFileSystem::Exists must answer true for a folder"},
    {"ReplacesFiles", "IFileSystem::Move must never replace an existing file"},
    {"LosesWhatItCannotMove",
     "IFileSystem::Move must leave the file where it is when it answers false"},
    {"MovesOneLine", "IFileSystem::Move must keep every byte of a file"},
    {"StaysInItsFolder", "IFileSystem::Move must move to another volume"},
    {"MakesParents", "IFileSystem::CreateFolder must create one folder, and not its parents"},
    {"TakesAnExistingFolder",
     "IFileSystem::CreateFolder must answer false when there is a folder already"},
    {"RemovesEmptyFolders", "IFileSystem::RemoveFolder must remove everything inside"},
    {"EndsInASeparator",
     "IFileSystem::GetTempFolder must answer a path without a trailing separator"},
    {"CutsAtTheNul", "IFileSystem::RemoveFolder must not remove what stands before a NUL"},

    {"LetsOthersLookIn",
     "IFileSystem::GetTempFolder must answer a folder that nobody else can look into"},
    {"FollowsLinks", "IFileSystem::RemoveFolder must never follow a link"},

    {"SavesForEverybody",
     "IPDFProvider::SaveDocument must write a file that its owner alone can read"},
    {"SavesThroughLinks", "IPDFProvider::SaveDocument must follow no link"},
    {"HasNoState", "Every future of an IPDFProvider must have a state"},
    {"ThrowsInTheFuture",
     "An IPDFProvider must report failures as values, not as exceptions. It threw: cannot be "
     "opened"},
    {"NeedsTheEventLoop",
     "Every future of an IPDFProvider must become ready without the caller's event loop"},
    {"ClosesWhenWaitedFor",
     "IPDFProvider::CloseDocument must go ahead when its future is destroyed"},
    {"BlocksWhoeverDropsTheFuture", "Destroying a future of an IPDFProvider must not block"},
    {"OpensAnything",
     "IPDFProvider::OpenDocument must answer a negative id for a file that is no PDF"},
    {"AsksForNoPassword",
     "IPDFProvider::OpenDocument must answer a negative id for a wrong password"},
    {"KeepsTheEncryption",
     "IPDFProvider::SaveDocument must write a copy that opens with an empty password"},
    {"SavesNothing",
     "IPDFProvider::SaveDocument must answer false for a path that cannot be written"},
    {"ClosesTheOthers", "IPDFProvider must keep a document open when another one is closed"},
    {"ClosesWhatIsClosed",
     "IPDFProvider::CloseDocument must answer false for a document that was closed"},

    {"EndsTwice", "A task that was accepted must end by exactly one Finished or Failed"},
    {"FailsWhatItFinished", "A task that was accepted must end by exactly one Finished or Failed"},
    {"ReportsAfterTheEnd", "Nothing must be emitted for a task after its terminal signal"},
    {"ReportsAnotherSource", "The first argument of every signal must be the task's source"},
    {"StaysSilent", "A task that was accepted must end by exactly one Finished or Failed"},
    {"FinishesWhatFailed", "A task that fails must end by one Failed"},
    {"EndsWhatItRefuses", "No terminal signal must follow for a task that was refused"},
    {"AcceptsWhatItIgnores", "ConvertFile must answer false for a task that it does not start"},
    {"DeniesWhatItStarts", "ConvertFile must answer true for a task that it starts"},
    {"NamesWhatIsMissing", "Finished must name results that exist"},
    {"NamesTheFirstResult", "Finished must name the results of its own task"},
    {"ForgetsTheCancelled", "A task that was accepted must end by exactly one Finished or Failed"},
    {"CancelsWhatHasEnded", "A task that was accepted must end by exactly one Finished or Failed"},
    {"StopsWhenAsked", "A task that succeeds must end by one Finished"},
    {"HasAParent", "A converter must have no parent"},
    {"TellsNoStart", "ConvertationStarted must come before the end of a task that succeeds"},
    {"CountsToAHundred", "ConvertationProgress must count from 0 to 1"},
    {"Overwrites", "A converter must not replace the file that lies at the destination"},
    {"DiesWhenDeleted", "A receiver may delete the converter in the slot of Finished"},
    {"ForgetsTheNext", "A converter must take the next task in the slot of a terminal signal"},
    {"StaysBusyWhenThrownThrough", "A converter must work on when a receiver has thrown"},

    {"ForgetsASignal", "A wrapper must pass ConvertationFinished on once"},
    {"ConnectsInAnotherOrder",
     "A wrapper must connect to the eight signals of its inner converter once, in this order"},
    {"ConnectsTwice", "A wrapper must pass Finished on once"},
    {"ChangesTheSource", "A wrapper must pass Failed on once, under the caller's source"},
    {"RecordsTooLate", "A wrapper must pass Finished on once, under the caller's source"},
    {"AnswersForItself",
     "DoesServiceAvailable of a wrapper must answer what its inner converter does"},
    {"CancelsNothing", "CancelConvertation of a wrapper must answer what its inner converter does"},
    {"HasFormatsOfItsOwn",
     "GetSupportedFormats of a wrapper must answer what its inner converter does"},
    {"HidesRefusals", "A wrapper must answer false when its inner converter has refused the task"},
    {"OwnsItsInner", "A wrapper must not own its inner converter"},
    {"KeepsItsInner", "A wrapper must let its share of the inner converter go"},
    {"DiesWithItsInner",
     "A wrapper must live through a signal from the destructor of its inner converter"}};

/** What the kit has said, by the object that it was said of: the first part of a suite's name. */
class Findings : public testing::EmptyTestEventListener
{
public:
    void OnTestSuiteStart(const testing::TestSuite& suite) override
    {
        const std::string name = suite.name();
        object = name.substr(0, name.find('/'));
        texts[object];
    }

    void OnTestPartResult(const testing::TestPartResult& result) override
    {
        if (result.failed())
            texts[object] += result.message() + std::string("\n");
    }

    std::map<std::string, std::string> texts;

private:
    std::string object;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
    delete listeners.Release(listeners.default_result_printer()); // it would report the failures
    auto* findings = new Findings;                                // owned by GoogleTest
    listeners.Append(findings);
    const bool foundNothing = RUN_ALL_TESTS() == 0;

    std::set<std::string> objects;
    for (const auto& [object, promise] : faults)
        objects.insert(object);
    for (const auto& [object, text] : findings->texts)
        objects.insert(object);

    std::size_t unnoticed = 0;
    for (const std::string& object : objects) {
        const auto fault = faults.find(object);
        if (fault != faults.end() &&
            findings->texts[object].find(fault->second) != std::string::npos)
            continue;
        ++unnoticed;
        std::cerr << "Not noticed: " << object << ", but this:\n"
                  << findings->texts[object] << '\n';
    }
    std::cout << objects.size() - unnoticed << " faults noticed, " << unnoticed << " not\n";
    return foundNothing || unnoticed > 0 ? 1 : 0;
}
