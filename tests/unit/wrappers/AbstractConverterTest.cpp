#include "AbstractConverter.h"
#include "FakeConverter.h"
#include "VirtualSlot.h"

#include <type_traits>

#include <gmock/gmock.h>
#include <QMetaMethod>
#include <QMetaType>

namespace Korvel::PDF::Test {

namespace {

using Converter::AbstractConverter;
using Formats = std::map<QString, QStringList>;
using Task = AbstractConverter::Task;

static_assert(std::is_base_of_v<QObject, AbstractConverter>);
static_assert(sizeof(AbstractConverter) == sizeof(QObject), "it holds no data");
static_assert(std::is_abstract_v<AbstractConverter>);
static_assert(std::has_virtual_destructor_v<AbstractConverter>);
static_assert(!std::is_copy_constructible_v<AbstractConverter>);
static_assert(!std::is_copy_assignable_v<AbstractConverter>);
static_assert(std::is_same_v<std::underlying_type_t<AbstractConverter::ErrorType>, int>);

static_assert(std::is_same_v<decltype(&AbstractConverter::ConvertFile),
                             bool (AbstractConverter::*)(const Task&)>);
static_assert(std::is_same_v<decltype(&AbstractConverter::CancelConvertation),
                             bool (AbstractConverter::*)()>);
static_assert(std::is_same_v<decltype(&AbstractConverter::GetSupportedFormats),
                             Formats (AbstractConverter::*)() const>);
static_assert(std::is_same_v<decltype(&AbstractConverter::DoesServiceAvailable),
                             bool (AbstractConverter::*)()>);

template <typename... Arguments>
using Signal = void (AbstractConverter::*)(const QString&, Arguments...);

static_assert(std::is_same_v<decltype(&AbstractConverter::ConvertationStarted), Signal<>>);
static_assert(std::is_same_v<decltype(&AbstractConverter::ConvertationProgress), Signal<double>>);
static_assert(std::is_same_v<decltype(&AbstractConverter::ConvertationFinished), Signal<>>);
static_assert(
    std::is_same_v<decltype(&AbstractConverter::Failed), Signal<AbstractConverter::ErrorType>>);
static_assert(
    std::is_same_v<decltype(&AbstractConverter::DownloadProgress), Signal<qint64, qint64>>);
static_assert(std::is_same_v<decltype(&AbstractConverter::UploadProgress), Signal<qint64, qint64>>);
// Well-formed only where the overload exists.
using FinishedFile = decltype(static_cast<Signal<QString>>(&AbstractConverter::Finished));
using FinishedFiles = decltype(static_cast<Signal<QStringList>>(&AbstractConverter::Finished));

static_assert(std::is_aggregate_v<Task>);
static_assert(std::is_copy_constructible_v<Task> && std::is_copy_assignable_v<Task>);
static_assert(std::is_same_v<decltype(Task::type), QString>);
static_assert(std::is_same_v<decltype(Task::source), QString>);
static_assert(std::is_same_v<decltype(Task::destination), QString>);
static_assert(std::is_same_v<decltype(Task::options), std::map<std::string, std::any>>);

} // namespace

TEST(AbstractConverterTest, DeclaresItsOperationsBehindThoseOfQObjectInTheirOrder)
{
    const std::size_t first = VirtualSlot(&AbstractConverter::ConvertFile);
    // The destructor has two places, behind it come the seven operations of QObject.
    EXPECT_EQ(first, VirtualSlot(&QObject::metaObject) + 3 + 2 + 7);
    EXPECT_EQ(VirtualSlot(&AbstractConverter::CancelConvertation), first + 1);
    EXPECT_EQ(VirtualSlot(&AbstractConverter::GetSupportedFormats), first + 2);
    EXPECT_EQ(VirtualSlot(&AbstractConverter::DoesServiceAvailable), first + 3);
}

TEST(AbstractConverterTest, DeclaresExactlyTheEightSignalsAndNoOtherMethod)
{
    const QMetaObject& meta = AbstractConverter::staticMetaObject;
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    std::vector<std::string> signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        EXPECT_EQ(meta.method(i).methodType(), QMetaMethod::Signal);
        signatures.push_back(meta.method(i).methodSignature().toStdString());
    }
    EXPECT_THAT(signatures,
                testing::UnorderedElementsAre(
                    "ConvertationStarted(QString)", "ConvertationProgress(QString,double)",
                    "ConvertationFinished(QString)", "Finished(QString,QString)",
                    "Finished(QString,QStringList)", "Failed(QString,ErrorType)",
                    "DownloadProgress(QString,qlonglong,qlonglong)",
                    "UploadProgress(QString,qlonglong,qlonglong)"));
}

TEST(AbstractConverterTest, RegistersErrorTypeUnderTheNameThatItsSignalDeclares)
{
    const FakeConverter converter(std::make_shared<CallJournal>());
    const QMetaMethod failed = QMetaMethod::fromSignal(&AbstractConverter::Failed);
    EXPECT_EQ(failed.parameterTypes().at(1), "ErrorType");
    EXPECT_NE(failed.parameterType(1), int(QMetaType::UnknownType));
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    EXPECT_EQ(QMetaType::type("ErrorType"), qMetaTypeId<AbstractConverter::ErrorType>());
    QT_WARNING_POP
}

TEST(AbstractConverterTest, HasNoParentAfterConstruction)
{
    const FakeConverter converter(std::make_shared<CallJournal>());
    EXPECT_EQ(converter.parent(), nullptr);
}

TEST(AbstractConverterTest, ATaskHasItsFourFieldsInOrderAndCopiesWhole)
{
    const Task task{"type", "source", "destination", {{"password", std::string("secret")}}};
    Task copy = task;
    const auto& [type, source, destination, options] = copy;
    EXPECT_EQ(type, "type");
    EXPECT_EQ(source, "source");
    EXPECT_EQ(destination, "destination");
    EXPECT_EQ(std::any_cast<std::string>(options.at("password")), "secret");

    copy.source = "another";
    EXPECT_EQ(task.source, "source");
}

} // namespace Korvel::PDF::Test
