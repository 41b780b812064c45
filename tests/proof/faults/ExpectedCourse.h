#pragma once

#include "FaultCourse.h"
#include "WrapperFixture.h"

#include <map>
#include <set>

namespace Korvel::PDF::Test {

/**
 * The course that the wrappers' contract describes, in the plainest terms: no objects, no signals,
 * no files, only the calls in their order and what each of their outcomes means to the task.
 */
class ExpectedCourse : public Course
{
public:
    ExpectedCourse(const Stack& stack, const std::string& folder, const Fault& fault,
                   const std::shared_ptr<CallJournal>& lines);

private:
    struct Layer
    {
        Wrapper wrapper;
        std::string folder;
        /** Tasks in flight: source -> destination, or copy -> source. */
        std::map<std::string, std::string> tasks;
        bool isGone = false;
    };

    struct Emission
    {
        std::string name;
        std::string arguments;
        bool endsTask;
        /** Of the two Finished only. */
        std::vector<std::string> files;
    };

    void Construct() override;
    bool Convert(const std::string& name) override;
    bool Cancel() override;
    bool HasFormats() override;
    bool IsAvailable() override;
    void Destroy() override;
    void Produce(const std::string& file) override;
    void EmitProgress(const std::string& source) override;
    void EmitFailed(const std::string& source) override;
    void EmitFinished(const std::string& source, const std::string& file) override;
    void EmitFinished(const std::string& source, const std::vector<std::string>& files) override;
    std::string State() override;

    void Log(const std::string& text) { Write("log " + text); }

    void Build(Layer& layer);
    void Destroy(std::size_t depth);
    void Release(const std::string& service);

    bool Convert(std::size_t depth, const Told& task);
    bool ConvertIntoFolder(std::size_t depth, Told task);
    bool ConvertCopy(std::size_t depth, Told task);

    void Relay(std::size_t depth, const std::string& path, const Emission& emission);
    void RelayResults(std::size_t depth, const std::string& path, Emission emission);
    void RemoveCopy(Layer& layer, const std::string& copy);
    std::string MoveResult(const std::string& from, std::string to);

    bool Call(Operation operation, const std::string& line);
    std::string GenerateFileName();
    std::string GetTempFolder();
    bool Exists(const std::string& path);
    bool CreateFolder(const std::string& path);
    bool RemoveFolder(const std::string& path);
    bool Move(const std::string& from, const std::string& to);
    int OpenDocument(const std::string& path);
    bool SaveAndClose(int document, const std::string& copy);

    std::vector<Layer> layers;
    /** From the end of the construction on the caller receives what the outermost wrapper emits. */
    bool isHeard = false;
    const std::string folder;
    std::map<std::string, int> shares;
    int stems = 0;
    int lastDocument = 0;
    std::set<int> documents;
    std::set<std::string> copies;
    std::set<std::string> files;
    std::set<std::string> folders{folder, folder + "/out"};
};

/** What State writes of the things that it finds. */
std::string Describe(const std::set<std::string>& copies, const std::set<std::string>& files,
                     const std::set<std::string>& folders, std::size_t documents);

} // namespace Korvel::PDF::Test
