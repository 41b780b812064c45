#include "UuidFileNameGenerator.h"

#include <QUuid>

namespace Korvel::PDF {

std::string UuidFileNameGenerator::GenerateFileName()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString();
}

} // namespace Korvel::PDF
