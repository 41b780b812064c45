#include "WrapperFixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace Korvel::PDF::Test {

namespace {

/** In memory where there is such a folder: tens of thousands of tests wait for the disk else. */
QString PatternOfFolder()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    const QString parent =
        memory.isDir() && memory.isWritable() ? memory.filePath() : QDir::tempPath();
    return parent + '/' + QCoreApplication::applicationName() + "-XXXXXX";
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Stack& stack)
{
    return stream << stack.name;
}

const std::vector<Stack>& AllStacks()
{
    static const std::vector<Stack> stacks{
        {"TempFile", {Wrapper::TempFile}},
        {"Unencrypt", {Wrapper::Unencrypt}},
        {"UnencryptAroundTempFile", {Wrapper::Unencrypt, Wrapper::TempFile}},
        {"TempFileAroundUnencrypt", {Wrapper::TempFile, Wrapper::Unencrypt}},
        {"TempFileAroundTempFile", {Wrapper::TempFile, Wrapper::TempFile}},
        {"UnencryptAroundUnencrypt", {Wrapper::Unencrypt, Wrapper::Unencrypt}}};
    return stacks;
}

WrapperFixture::WrapperFixture()
    : folder(PatternOfFolder()),
      files(std::make_shared<FakeFileSystem>(folder.path().toStdString(), journal))
{
}

std::shared_ptr<TempFileWrapper>
WrapperFixture::MakeTempFileWrapper(const std::shared_ptr<AbstractConverter>& inner)
{
    return std::make_shared<TempFileWrapper>(names, inner, files);
}

std::shared_ptr<UnencryptDocWrapper>
WrapperFixture::MakeUnencryptDocWrapper(const std::shared_ptr<AbstractConverter>& inner)
{
    return std::make_shared<UnencryptDocWrapper>(names, inner, pdfs, files);
}

std::shared_ptr<AbstractConverter>
WrapperFixture::MakeAround(const std::shared_ptr<AbstractConverter>& inner, Wrapper wrapper)
{
    if (wrapper == Wrapper::TempFile)
        return MakeTempFileWrapper(inner);
    return MakeUnencryptDocWrapper(inner);
}

std::shared_ptr<AbstractConverter> WrapperFixture::Make(const Stack& stack)
{
    std::shared_ptr<AbstractConverter> outermost = converter;
    for (auto wrapper = stack.wrappers.rbegin(); wrapper != stack.wrappers.rend(); ++wrapper) {
        outermost = MakeAround(outermost, *wrapper);
        const auto depth = std::distance(wrapper, stack.wrappers.rend());
        QObject::connect(outermost.get(), &QObject::destroyed, &receiver, [this, depth] {
            journal->push_back("wrapper " + std::to_string(depth) + " is destroyed");
        });
    }
    return outermost;
}

void WrapperFixture::ReleaseAll()
{
    names.reset();
    converter.reset();
    pdfs.reset();
    files.reset();
}

QString WrapperFixture::Path(const QString& name) const
{
    return folder.filePath(name);
}

Task WrapperFixture::MakeTask(const QString& destination)
{
    const QString source = Path(QStringLiteral("source.pdf"));
    FakePdfProvider::MakeDocument(source.toStdString(), "secret");
    return {QStringLiteral("type"),
            source,
            destination,
            {{"need_export", true}, {"password", std::string("secret")}}};
}

void WrapperFixture::Record(const AbstractConverter& sender)
{
    ReceiveAll(sender, &receiver, [this](const std::string& line) { received.push_back(line); });
}

} // namespace Korvel::PDF::Test
