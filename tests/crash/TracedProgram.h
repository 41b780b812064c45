#pragma once

#include "Program.h"
#include "Tracer.h"

#include <functional>

namespace Korvel::Failing {

/** How a traced run of the command ended and what it said. */
struct TracedRun
{
    TracedEnd end;
    QStringList results;
    std::string complaints;
};

/**
 * Runs the command on a small encrypted document, secret.pdf, in a folder of its own, while its
 * system calls are watched.
 */
class TracedProgramTest : public App::ProgramTest
{
protected:
    void SetUp() override;

    /** Runs the command to its end, and every process that it starts. */
    TracedRun Run(const QStringList& arguments, const std::function<int(const Call&)>& judge,
                  const Answered& answered = {}) const;

    /**
     * How a call fares on a volume that has neither files without a name nor a rename that does not
     * replace, as on NFS.
     */
    static int VerdictOfPlain(const Call& call);

    /** Whether a call is about a file in the folder, a pipe or a socket. */
    bool Concerns(const std::string& call) const;

    /** That the document is as it was. */
    void ExpectSourceIntact() const;

    /** Starts the command once more, for a document that is not there. */
    void StartAgain() const;

private:
    QByteArray source;
};

} // namespace Korvel::Failing
