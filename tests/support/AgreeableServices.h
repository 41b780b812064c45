#pragma once

#include "AbstractConverter.h"
#include "Futures.h"
#include "IFileNameGenerator.h"
#include "IFileSystem.h"
#include "IPDFProvider.h"

#include <functional>

#include <QTemporaryDir>

// Services that do nothing, quickly and with success, so that the wrappers' own share shows.

namespace Korvel::PDF::Test {

class CountingNames : public IFileNameGenerator
{
public:
    std::string GenerateFileName() override { return "stem" + std::to_string(++count); }

private:
    int count = 0;
};

class AgreeableFiles : public IFileSystem
{
public:
    explicit AgreeableFiles(const QTemporaryDir& folder) : tempFolder(folder.path().toStdString())
    {
    }

    ioPath GetTempFolder() override { return tempFolder; }
    bool RemoveFolder(const ioPath&) override { return true; }
    bool Exists(const ioPath&) override { return false; }
    bool Move(const ioPath&, const ioPath&) override { return true; }
    bool CreateFolder(const ioPath&) override { return true; }

private:
    const ioPath tempFolder;
};

class AgreeablePdfs : public IPDFProvider
{
public:
    std::future<DocumentHandle> OpenDocument(const ioPath&, const std::string&) override
    {
        return Ready(DocumentHandle{1, 0});
    }

    std::future<bool> SaveDocument(const DocumentHandle&, const ioPath&) override
    {
        return Ready(true);
    }

    std::future<bool> CloseDocument(const DocumentHandle&) override { return Ready(true); }
};

/** What the innermost converter knows of a task. */
struct InnerTask
{
    QString source;
    QString destination;
};

class HandingOnConverter : public Converter::AbstractConverter
{
public:
    bool ConvertFile(const Task& task) override
    {
        onTask({task.source, task.destination});
        return true;
    }

    bool CancelConvertation() override { return false; }
    std::map<QString, QStringList> GetSupportedFormats() const override { return {}; }
    bool DoesServiceAvailable() override { return true; }

    std::function<void(const InnerTask&)> onTask;
};

} // namespace Korvel::PDF::Test
