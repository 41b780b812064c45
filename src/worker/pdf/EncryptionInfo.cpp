#include "EncryptionInfo.h"

#include <algorithm>
#include <iterator>

namespace Korvel::Worker {

namespace {

constexpr int firstVersionWithFilters = 4;

QString Name(QPDF::encryption_method_e method)
{
    switch (method) {
    case QPDF::e_rc4:
        return QStringLiteral("RC4");
    case QPDF::e_aes:
    case QPDF::e_aesv3:
        return QStringLiteral("AES");
    case QPDF::e_none:
    case QPDF::e_unknown:
        break;
    }
    return QStringLiteral("other");
}

/** That of the streams, unless only strings or attached files are encrypted. */
QString Method(QPDF& pdf)
{
    int revision = 0;
    int permissions = 0;
    int version = 0;
    QPDF::encryption_method_e methods[] = {QPDF::e_none, QPDF::e_none, QPDF::e_none};
    pdf.isEncrypted(revision, permissions, version, methods[0], methods[1], methods[2]);
    if (version < firstVersionWithFilters)
        return Name(QPDF::e_rc4);
    const auto used = std::find_if(std::begin(methods), std::end(methods),
                                   [](auto method) { return method != QPDF::e_none; });
    return Name(used == std::end(methods) ? QPDF::e_none : *used);
}

QString OpenedWith(QPDF& pdf, bool neededPassword)
{
    if (!neededPassword)
        return QStringLiteral("empty");
    if (pdf.ownerPasswordMatched() && pdf.userPasswordMatched())
        return QStringLiteral("both");
    return pdf.ownerPasswordMatched() ? QStringLiteral("owner") : QStringLiteral("user");
}

QJsonObject Permissions(QPDF& pdf)
{
    return {{QStringLiteral("print"), pdf.allowPrintLowRes()},
            {QStringLiteral("printHighResolution"), pdf.allowPrintHighRes()},
            {QStringLiteral("modify"), pdf.allowModifyOther()},
            {QStringLiteral("copy"), pdf.allowExtractAll()},
            {QStringLiteral("annotate"), pdf.allowModifyAnnotation()},
            {QStringLiteral("fillForms"), pdf.allowModifyForm()},
            {QStringLiteral("accessibility"), pdf.allowAccessibility()},
            {QStringLiteral("assemble"), pdf.allowModifyAssembly()}};
}

} // namespace

QJsonObject DescribeEncryption(QPDF& pdf, bool neededPassword)
{
    return {{QStringLiteral("method"), Method(pdf)},
            {QStringLiteral("bits"), int(pdf.getEncryptionKey().size() * 8)},
            {QStringLiteral("openedWith"), OpenedWith(pdf, neededPassword)},
            {QStringLiteral("permissions"), Permissions(pdf)}};
}

} // namespace Korvel::Worker
