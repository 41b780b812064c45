#pragma once

namespace Korvel::PDF::Test {

/** What the wrappers call: of the services, of the converter around which they are, of the task. */
enum class Call {
    GenerateFileName,
    GetTempFolder,
    RemoveFolder,
    Exists,
    Move,
    CreateFolder,
    OpenDocument,
    SaveDocument,
    CloseDocument,
    ConvertFile,
    CancelConvertation,
    GetSupportedFormats,
    DoesServiceAvailable,
    CopyTask ///< of the task, by a wrapper that hands it on changed
};

/** How a call may end. All but the slow answers and the re-entrant calls leave its work undone. */
enum class Outcome {
    Usual,
    Refuses, ///< answers false, -1 or nothing; of Exists: the opposite of what is so
    Throws,
    ThrowsWhatIsNoException,
    ThrowsBadAlloc,
    HasNoState,
    BreaksItsPromise,
    HoldsAnException,
    IsReadyWhenWaitedFor,
    IsReadyOnAThread,
    StartsATask,
    EndsATask,
    FinishesATask
};

const char* Name(Call call);
const char* Name(Outcome outcome);

/** One call that does not end as usual. */
struct Fault
{
    Call call;
    Outcome outcome;
    /** Which call of its kind it is; 1 is the first, none is 0. */
    int number;
};

} // namespace Korvel::PDF::Test
