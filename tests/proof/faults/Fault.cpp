#include "Fault.h"

namespace Korvel::PDF::Test {

const char* Name(Call call)
{
    switch (call) {
    case Call::GenerateFileName:
        return "GenerateFileName";
    case Call::GetTempFolder:
        return "GetTempFolder";
    case Call::RemoveFolder:
        return "RemoveFolder";
    case Call::Exists:
        return "Exists";
    case Call::Move:
        return "Move";
    case Call::CreateFolder:
        return "CreateFolder";
    case Call::OpenDocument:
        return "OpenDocument";
    case Call::SaveDocument:
        return "SaveDocument";
    case Call::CloseDocument:
        return "CloseDocument";
    case Call::ConvertFile:
        return "ConvertFile";
    case Call::CancelConvertation:
        return "CancelConvertation";
    case Call::GetSupportedFormats:
        return "GetSupportedFormats";
    case Call::DoesServiceAvailable:
        return "DoesServiceAvailable";
    case Call::CopyTask:
        return "CopyTask";
    }
    return "";
}

const char* Name(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Usual:
        return "Usual";
    case Outcome::Refuses:
        return "Refuses";
    case Outcome::Throws:
        return "Throws";
    case Outcome::ThrowsWhatIsNoException:
        return "ThrowsWhatIsNoException";
    case Outcome::ThrowsBadAlloc:
        return "ThrowsBadAlloc";
    case Outcome::HasNoState:
        return "HasNoState";
    case Outcome::BreaksItsPromise:
        return "BreaksItsPromise";
    case Outcome::HoldsAnException:
        return "HoldsAnException";
    case Outcome::IsReadyWhenWaitedFor:
        return "IsReadyWhenWaitedFor";
    case Outcome::IsReadyOnAThread:
        return "IsReadyOnAThread";
    case Outcome::StartsATask:
        return "StartsATask";
    case Outcome::EndsATask:
        return "EndsATask";
    case Outcome::FinishesATask:
        return "FinishesATask";
    }
    return "";
}

} // namespace Korvel::PDF::Test
