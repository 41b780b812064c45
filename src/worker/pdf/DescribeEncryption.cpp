#include "DescribeEncryption.h"

#include <algorithm>
#include <iterator>

namespace Korvel::Worker {

namespace {

constexpr int firstVersionWithFilters = 4;

PDF::EncryptionMethod ToMethod(QPDF::encryption_method_e method)
{
    switch (method) {
    case QPDF::e_rc4:
        return PDF::EncryptionMethod::Rc4;
    case QPDF::e_aes:
    case QPDF::e_aesv3:
        return PDF::EncryptionMethod::Aes;
    case QPDF::e_none:
    case QPDF::e_unknown:
        break;
    }
    return PDF::EncryptionMethod::Other;
}

/** How the streams are encrypted, unless only strings or attached files are. */
PDF::EncryptionMethod MethodOf(QPDF& pdf)
{
    int revision = 0;
    int permissions = 0;
    int version = 0;
    QPDF::encryption_method_e methods[] = {QPDF::e_none, QPDF::e_none, QPDF::e_none};
    pdf.isEncrypted(revision, permissions, version, methods[0], methods[1], methods[2]);
    if (version < firstVersionWithFilters)
        return ToMethod(QPDF::e_rc4);
    const auto used = std::find_if(std::begin(methods), std::end(methods),
                                   [](auto method) { return method != QPDF::e_none; });
    return ToMethod(used == std::end(methods) ? QPDF::e_none : *used);
}

PDF::OpenedWith WhatOpened(QPDF& pdf, bool neededPassword)
{
    if (!neededPassword)
        return PDF::OpenedWith::EmptyPassword;
    if (pdf.ownerPasswordMatched() && pdf.userPasswordMatched())
        return PDF::OpenedWith::UserAndOwnerPassword;
    return pdf.ownerPasswordMatched() ? PDF::OpenedWith::OwnerPassword
                                      : PDF::OpenedWith::UserPassword;
}

PDF::Permissions PermissionsOf(QPDF& pdf)
{
    PDF::Permissions permissions;
    permissions.print = pdf.allowPrintLowRes();
    permissions.printHighResolution = pdf.allowPrintHighRes();
    permissions.modify = pdf.allowModifyOther();
    permissions.copy = pdf.allowExtractAll();
    permissions.annotate = pdf.allowModifyAnnotation();
    permissions.fillForms = pdf.allowModifyForm();
    permissions.accessibility = pdf.allowAccessibility();
    permissions.assemble = pdf.allowModifyAssembly();
    return permissions;
}

} // namespace

PDF::EncryptionInfo DescribeEncryption(QPDF& pdf, bool neededPassword)
{
    return {MethodOf(pdf), int(pdf.getEncryptionKey().size() * 8), WhatOpened(pdf, neededPassword),
            PermissionsOf(pdf)};
}

} // namespace Korvel::Worker
