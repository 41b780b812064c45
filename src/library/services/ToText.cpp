#include "ToText.h"

namespace Korvel::PDF {

QString ToText(OpenFailure failure)
{
    switch (failure) {
    case OpenFailure::None:
        return QStringLiteral("opens");
    case OpenFailure::Unreadable:
        return QStringLiteral("is missing, no regular file, or must not be read");
    case OpenFailure::Empty:
        return QStringLiteral("is empty");
    case OpenFailure::NotAPdf:
        return QStringLiteral("is no PDF");
    case OpenFailure::Damaged:
        return QStringLiteral("is damaged beyond repair");
    case OpenFailure::NoPassword:
        return QStringLiteral("needs a password");
    case OpenFailure::WrongPassword:
        return QStringLiteral("does not open with this password");
    case OpenFailure::UnsupportedEncryption:
        return QStringLiteral("is encrypted in a way that is not supported");
    case OpenFailure::OutOfMemory:
        return QStringLiteral("needs more memory than it was given");
    case OpenFailure::TimedOut:
        return QStringLiteral("takes longer to open than it was given");
    case OpenFailure::WorkerFailed:
        return QStringLiteral("could not be opened, as the worker died");
    case OpenFailure::NotStarted:
        return QStringLiteral("could not be opened, as no worker could be started");
    case OpenFailure::Changed:
        return QStringLiteral("was changed by somebody while it was read");
    case OpenFailure::TooManyPages:
        return QStringLiteral("lists more pages than a file of its size can hold");
    case OpenFailure::Unconfined:
        return QStringLiteral("was not opened, as this machine cannot confine a worker");
    }
    return QStringLiteral("could not be opened for a reason that is unknown");
}

QString Converter::ToText(AbstractConverter::ErrorType error)
{
    switch (error) {
    case AbstractConverter::Unknown:
        return QStringLiteral("failed for a reason that is unknown");
    case AbstractConverter::CannotOpenSource:
        return QStringLiteral("could not be opened");
    case AbstractConverter::PasswordRequiredOrWrong:
        return QStringLiteral("needs a password, or another one");
    case AbstractConverter::CannotRender:
        return QStringLiteral("could not be converted, as it may be damaged");
    case AbstractConverter::CannotWrite:
        return QStringLiteral("has a result that could not be written");
    case AbstractConverter::Cancelled:
        return QStringLiteral("was cancelled");
    case AbstractConverter::TimedOut:
        return QStringLiteral("took longer than it was given");
    case AbstractConverter::OutOfMemory:
        return QStringLiteral("needs more memory than it was given");
    case AbstractConverter::UnsupportedFormat:
        return QStringLiteral("cannot be converted to such a file");
    case AbstractConverter::SourceChanged:
        return QStringLiteral("was changed by somebody while it was read");
    case AbstractConverter::ResultTooLarge:
        return QStringLiteral("has a result that is larger than is allowed");
    case AbstractConverter::Unconfined:
        return QStringLiteral("was not read, as this machine cannot confine a worker");
    case AbstractConverter::InvalidOption:
        return QStringLiteral("has an option that is unknown, or of another type");
    }
    return QStringLiteral("failed with the error %1").arg(int(error));
}

} // namespace Korvel::PDF
