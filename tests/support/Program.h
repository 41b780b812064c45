#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace Korvel::App {

/** How a run of the command ended and what it said. */
struct Outcome
{
    int exitCode;
    /** The lines on standard output. */
    QStringList results;
    std::string complaints;
};

/** Runs the command in a folder of its own, without a terminal. */
class ProgramTest : public testing::Test
{
protected:
    ProgramTest();

    /** A path in the folder. */
    QString Path(const QString& name) const { return folder.filePath(name); }

    /** Makes a sample document in the folder; encrypted when `password` is not empty. */
    QString MakeSample(const QString& name, int pages, const QString& password = {}) const;

    /** Writes a small file into the folder. */
    QString Write(const QString& name, const QByteArray& content) const;

    /** What a file in the folder holds. */
    QByteArray Read(const QString& name) const;

    /** Runs the command to its end. */
    Outcome Run(const QStringList& arguments, const QByteArray& input = {}) const;

    /** Starts the command; `Finish` waits for it. */
    std::unique_ptr<QProcess> Start(const QStringList& arguments) const;
    static Outcome Finish(QProcess& process);

    /** Sends it a signal, unless it has ended: its number is 0 then, the whole process group's. */
    static void Send(int signal, const QProcess& process);

    /** Processes that one has started and that still run. */
    static QStringList ChildrenOf(const QString& process);
    static QStringList Children(const QProcess& process);

    /** The numbers of all processes that came of it. */
    static QStringList Descendants(const QProcess& process);

    /** The folder for temporary files that every run is given, and what is in it now. */
    QString TempDir() const { return Path("temp"); }
    QStringList LeftInTempDir() const;

    /** The names of the pictures in a folder below this one, each of which must be whole. */
    QStringList WholePictures(const QString& name) const;

private:
    QTemporaryDir folder;
};

} // namespace Korvel::App
