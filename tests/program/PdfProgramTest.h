#pragma once

#include "Program.h"

#include <QJsonArray>
#include <QJsonObject>

namespace Korvel::App {

/** Runs the command for PDFs, at which qpdf looks. */
class PdfProgramTest : public ProgramTest
{
protected:
    /** What qpdf says of a file; it has to end well. */
    QByteArray Qpdf(const QStringList& arguments) const;

    void ExpectSound(const QString& name) const;

    /** What qpdf lists of a file. */
    QJsonObject Lists(const QString& name) const;

    /** The headings, those below another one indented, and the pages that they lead to. */
    QStringList Titles(const QString& name) const;

    QStringList Labels(const QString& name) const;

    /** The form fields and what they hold. */
    QStringList Fields(const QString& name) const;

    /** All that a file says, nothing packed. */
    QByteArray Unpacked(const QString& name) const;

    int PageCount(const QString& name) const;

    /** The first line of each page. */
    QStringList Texts(const QString& name) const;
};

} // namespace Korvel::App
