#pragma once

#include "PdfConversion.h"
#include "PdfConverter.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <QStringList>
#include <QTemporaryDir>

namespace Korvel::PDF::Converter::Test {

/** Writes down which signals a conversion emits, but for its progress, and that only rises. */
class Course
{
public:
    explicit Course(PdfConversion& conversion);

    /** "page 1", "failed 2", "warned" or "ended", in order. */
    const QStringList& Signals() const { return signalled; }

    /** The last progress; below 0 when none was told. */
    double Progress() const { return progress; }

    bool HasEnded() const { return signalled.contains(QStringLiteral("ended")); }

private:
    QStringList signalled;
    double progress = -1;
};

/** A folder with documents, and a converter whose temporary files are in a folder of their own. */
class PdfConversionFixture : public testing::Test
{
protected:
    PdfConversionFixture();

    QString Path(const QString& name) const { return folder.filePath(name); }

    /** Makes a document of so many pages; its path. */
    QString Sample(const QString& name, int pages) const;

    /** Makes one that the password "geheim" opens; its path. */
    QString Secret(const QString& name, int pages = 1) const;

    /** Makes one of three pages, of which the second cannot be converted; its path. */
    QString WithABadPage() const;

    /** Pictures are small, so that they are made fast. */
    static ConversionRequest RequestOf(const QString& document, const QString& result);

    /** With the real worker, two of them. */
    PdfConverter::Settings RealSettings() const;

    /** With the stand-in for the worker, one of it. */
    PdfConverter::Settings ScriptedSettings() const;

    /** Converts by the converter, and waits for the end. */
    ConversionResult Convert(const ConversionRequest& request);

    /** Every file below the folder for temporary files. */
    QStringList TemporaryFiles() const;

    static void Write(const QString& path, const QByteArray& bytes);
    static QByteArray Read(const QString& path);

    const QTemporaryDir folder;
    const QTemporaryDir temp;
    PdfConverter converter;
};

/** Their paths. */
QStringList PathsOf(const ConversionResult& result);

/** Answers these passwords, one after the other, and then gives up; counts the attempts. */
std::function<std::optional<std::string>(int)> Passwords(std::vector<std::string> passwords,
                                                         std::vector<int>& attempts);

/** Starts a conversion and runs the event loop until it has ended; whether it came to that. */
bool RunToEnd(PdfConversion& conversion);

} // namespace Korvel::PDF::Converter::Test
