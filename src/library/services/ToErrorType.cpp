#include "ToErrorType.h"

namespace Korvel::PDF {

using WorkerProtocol::Reason;

namespace {

struct Meaning
{
    Converter::AbstractConverter::ErrorType error;
    OpenFailure open = OpenFailure::WorkerFailed;
    SaveFailure save = SaveFailure::WorkerFailed;
};

Meaning MeaningOf(Reason reason)
{
    using Error = Converter::AbstractConverter;
    switch (reason) {
    case Reason::Unreadable:
        return {Error::CannotOpenSource, OpenFailure::Unreadable};
    case Reason::Empty:
        return {Error::CannotOpenSource, OpenFailure::Empty};
    case Reason::NotAPdf:
        return {Error::CannotOpenSource, OpenFailure::NotAPdf};
    case Reason::Damaged:
        return {Error::CannotOpenSource, OpenFailure::Damaged, SaveFailure::Damaged};
    case Reason::TooManyPages:
        return {Error::CannotOpenSource, OpenFailure::TooManyPages};
    case Reason::UnsupportedEncryption:
        return {Error::CannotOpenSource, OpenFailure::UnsupportedEncryption};
    case Reason::NoPassword:
        return {Error::PasswordRequiredOrWrong, OpenFailure::NoPassword};
    case Reason::WrongPassword:
        return {Error::PasswordRequiredOrWrong, OpenFailure::WrongPassword};
    case Reason::NoSuchPage:
    case Reason::CannotRender:
    case Reason::Died:
    case Reason::Rubbish:
        return {Error::CannotRender};
    case Reason::CannotWrite:
        return {Error::CannotWrite, OpenFailure::WorkerFailed, SaveFailure::CannotWrite};
    case Reason::TooLarge:
        return {Error::ResultTooLarge, OpenFailure::WorkerFailed, SaveFailure::TooLarge};
    case Reason::Ended:
        return {Error::Cancelled};
    case Reason::TimedOut:
        return {Error::TimedOut, OpenFailure::TimedOut, SaveFailure::TimedOut};
    case Reason::OutOfMemory:
        return {Error::OutOfMemory, OpenFailure::OutOfMemory, SaveFailure::OutOfMemory};
    case Reason::UnsupportedFormat:
        return {Error::UnsupportedFormat};
    case Reason::Changed:
        return {Error::SourceChanged, OpenFailure::Changed, SaveFailure::Changed};
    case Reason::Unconfined:
        return {Error::Unconfined, OpenFailure::Unconfined};
    case Reason::NotStarted:
        return {Error::Unknown, OpenFailure::NotStarted};
    case Reason::BadRequest:
    case Reason::NoSuchDocument:
        break;
    }
    return {Error::Unknown};
}

/** The error of the reason that `isIt` knows by its meaning; Unknown where it knows none. */
template <typename IsIt>
Converter::AbstractConverter::ErrorType ErrorOf(const IsIt& isIt)
{
    for (int reason = 0; reason <= int(Reason::Ended); ++reason) {
        const Meaning meaning = MeaningOf(Reason(reason));
        if (isIt(meaning))
            return meaning.error;
    }
    return Converter::AbstractConverter::Unknown;
}

} // namespace

OpenFailure ToOpenFailure(Reason reason)
{
    return MeaningOf(reason).open;
}

SaveFailure ToSaveFailure(Reason reason)
{
    return MeaningOf(reason).save;
}

Converter::AbstractConverter::ErrorType Converter::ToErrorType(Reason reason)
{
    return MeaningOf(reason).error;
}

Converter::AbstractConverter::ErrorType Converter::ToErrorType(OpenFailure why)
{
    if (why == OpenFailure::WorkerFailed) // for whatever reason
        return AbstractConverter::CannotOpenSource;
    return ErrorOf([why](const Meaning& meaning) { return meaning.open == why; });
}

Converter::AbstractConverter::ErrorType Converter::ToErrorType(SaveFailure why)
{
    switch (why) {
    case SaveFailure::None:
    case SaveFailure::Damaged: // not so much that it could not be opened
    case SaveFailure::WorkerFailed:
        return AbstractConverter::CannotRender;
    default:
        break;
    }
    return ErrorOf([why](const Meaning& meaning) { return meaning.save == why; });
}

} // namespace Korvel::PDF
