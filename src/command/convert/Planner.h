#pragma once

#include "InputFiles.h"
#include "Journal.h"
#include "OutputTemplate.h"
#include "PlannedDocument.h"
#include "PlannedPaths.h"
#include "Run.h"
#include "WorkerProtocol.h"

#include <cstddef>
#include <map>
#include <vector>

namespace Korvel::App {

/**
 * Decides where the results of a run's documents go: literally, and before the first one is made,
 * so that no two meet and nothing is met that is there. Used on the main thread.
 */
class Planner
{
public:
    /**
     * @param inputs  all files that the run converts, which results of others do not replace
     * @throws Failure  Usage: the output's name cannot be understood; Output: no folder for what
     *                  standard output is to get
     */
    Planner(const Run& run, const std::vector<Input>& inputs);

    /** The format of all results, as WorkerConverter takes it. */
    const QString& Format() const { return output.Format(); }
    bool MakesPictures() const { return output.MakesPictures(); }

    /** Whether pages are drawn, or their text is read. */
    bool DrawsPages() const { return Format() != WorkerProtocol::Format::pdf; }

    /** How many results have a place. */
    std::size_t Count() const { return planned.Count(); }

    /**
     * Chooses a place for each result of a document, those of an earlier run where the journal has
     * them, and writes them down in it.
     *
     * @return the results in page order, without those that the user wants left away
     * @throws Failure  Usage: the document has no such pages; Output: no file can be made there;
     *                  Exists: a file is there that is to stay, or another document's result
     */
    std::vector<PlannedResult> Plan(const Document& document);

    /** Plans a document anew that is another one than was planned; throws as Plan does. */
    std::vector<PlannedResult> PlanAnew(const Document& document,
                                        const std::vector<PlannedResult>& before);

    /** Chooses another place for a result of a document, as somebody else has put a file there. */
    void PlanAnew(PlannedResult& result, const QString& document);

private:
    using WantedPaths = std::map<int, QString>;

    OutputTemplate Output() const;
    void FindSources(const std::vector<Input>& inputs);
    QString PathOf(const OutputTemplate& path, const Input& input, int page) const;
    WantedPaths WantedFor(const Input& input, int pages) const;
    bool CanBeOf(const Input& input, const Journal::Plan& earlier) const;
    void GiveUp(const Journal::Plan& earlier);
    std::vector<PlannedResult> TakeUp(const Input& input, const Journal::Plan& earlier) const;
    std::vector<PlannedResult> MakePlan(const Input& input, int pages);
    QString FindPlace(const QString& wanted);
    QString FindFree(const QString& wanted);
    void CheckSource(const Input& input, const QString& path) const;

    const Run run;
    const OutputTemplate output;
    InputFiles sources;
    PDF::Converter::PlannedPaths planned;
};

} // namespace Korvel::App
