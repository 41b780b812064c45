#include "OtherThread.h"
#include "VirtualSlot.h"
#include "WrapperFixture.h"

#include <dlfcn.h>
#include <QCoreApplication>
#include <QSignalSpy>
#include <QThread>
#include <QTranslator>

struct QAbstractDynamicMetaObject;

constexpr bool isQt5 = QT_VERSION_MAJOR == 5;

/** What one gives to Qt, as a private header says. */
using Given = std::conditional_t<isQt5, QAbstractDynamicMetaObject, QMetaObject>;

/** As Qt has them there: an object's meta-object that may change as it lives. */
struct QDynamicMetaObjectData
{
    virtual ~QDynamicMetaObjectData() = default;
    virtual void objectDestroyed(QObject*) {}
    virtual Given* toDynamicMetaObject(QObject* object) = 0;
    virtual int metaCall(QObject* object, QMetaObject::Call call, int id, void** arguments) = 0;
};

struct QAbstractDynamicMetaObject : QDynamicMetaObjectData, QMetaObject
{
    Given* toDynamicMetaObject(QObject*) override { return this; }
    int metaCall(QObject*, QMetaObject::Call, int, void**) override { return -1; }
};

namespace Korvel::PDF::Test {

namespace {

QObjectData& DataOf(QObject& object)
{
    struct Access : QObject
    {
        using QObject::d_ptr;
    };
    return *(object.*&Access::d_ptr);
}

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Names = std::shared_ptr<IFileNameGenerator>;
using Inner = std::shared_ptr<AbstractConverter>;
using Pdfs = std::shared_ptr<IPDFProvider>;
using Files = std::shared_ptr<IFileSystem>;

template <typename T>
constexpr bool hasTheFrameOfAWrapper =
    std::is_base_of_v<AbstractConverter, T> &&
    sizeof(T) == sizeof(AbstractConverter) + sizeof(void*) &&
    std::has_virtual_destructor_v<T>&& std::is_destructible_v<T> && !std::is_abstract_v<T> &&
    !std::is_default_constructible_v<T> && !std::is_copy_constructible_v<T> &&
    !std::is_copy_assignable_v<T> && !std::is_move_constructible_v<T> &&
    !std::is_move_assignable_v<T> &&
    std::is_same_v<decltype(&T::ConvertFile), bool (T::*)(const Task&)> &&
    std::is_same_v<decltype(&T::CancelConvertation), bool (T::*)()> &&
    std::is_same_v<decltype(&T::GetSupportedFormats),
                   std::map<QString, QStringList> (T::*)() const> &&
    std::is_same_v<decltype(&T::DoesServiceAvailable), bool (T::*)()> &&
    std::is_same_v<decltype(&T::staticMetaObject), const QMetaObject*> &&
    std::is_same_v<decltype(&T::metaObject), const QMetaObject* (T::*)() const> &&
    std::is_same_v<decltype(&T::qt_metacast), void* (T::*)(const char*)> &&
    std::is_same_v<decltype(&T::qt_metacall), int (T::*)(QMetaObject::Call, int, void**)>;

static_assert(hasTheFrameOfAWrapper<TempFileWrapper>);
static_assert(hasTheFrameOfAWrapper<UnencryptDocWrapper>);
static_assert(std::is_constructible_v<TempFileWrapper, const Names&, const Inner&, const Files&>);
static_assert(std::is_constructible_v<UnencryptDocWrapper, const Names&, const Inner&, const Pdfs&,
                                      const Files&>);
static_assert(!std::is_constructible_v<TempFileWrapper, const Inner&, const Names&, const Files&>);
static_assert(!std::is_constructible_v<UnencryptDocWrapper, const Names&, const Inner&,
                                       const Files&, const Pdfs&>);

using Translate = QString (*)(const char* text, const char* disambiguation, int n);

/** What the two wrapper classes differ in for the frame. */
struct WrapperClass
{
    Stack stack;
    const QMetaObject* metaObject;
    const char* name;
    /** By name the members that translate: tr, and in Qt 5 trUtf8. */
    std::map<std::string, Translate> translators;
    std::size_t (*slot)();
    /** Names of the signals that are relayed signal to signal. */
    std::vector<std::string> direct;
};

std::ostream& operator<<(std::ostream& stream, const WrapperClass& tested)
{
    return stream << tested.name;
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
template <typename T>
std::map<std::string, Translate> Translators()
{
    std::map<std::string, Translate> translators = {{"tr", T::tr}};
    if constexpr (isQt5)
        translators["trUtf8"] = T::trUtf8;
    return translators;
}
QT_WARNING_POP

template <typename T>
WrapperClass Describe(Wrapper wrapper, const char* name, std::vector<std::string> direct)
{
    return {{name, {wrapper}},
            &T::staticMetaObject,
            name,
            Translators<T>(),
            [] { return VirtualSlot(&T::ConvertFile); },
            std::move(direct)};
}

const WrapperClass wrapperClasses[] = {
    Describe<TempFileWrapper>(Wrapper::TempFile, "Korvel::PDF::Converter::TempFileWrapper",
                              {"UploadProgress", "DownloadProgress", "ConvertationStarted",
                               "ConvertationProgress", "ConvertationFinished", "Failed"}),
    Describe<UnencryptDocWrapper>(Wrapper::Unencrypt, "Korvel::PDF::Converter::UnencryptDocWrapper",
                                  {})};

std::string LastPartOfName(const WrapperClass& tested)
{
    const std::string name = tested.name;
    return name.substr(name.rfind(':') + 1);
}

/** The library's own of the members that Q_OBJECT defines inline: this program has others. */
Translate Exported(const WrapperClass& tested, const std::string& member)
{
    const std::string name = LastPartOfName(tested);
    const std::string symbol = "_ZN6Korvel3PDF9Converter" + std::to_string(name.size()) + name +
                               std::to_string(member.size()) + member + "EPKcS4_i";
    return reinterpret_cast<Translate>(::dlsym(RTLD_NEXT, symbol.c_str()));
}

/** Remembers what it was asked to translate. */
class RecordingTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* text, const char* disambiguation,
                      int n) const override
    {
        asked.push_back(std::string(context) + "|" + text + "|" + disambiguation + "|" +
                        std::to_string(n));
        return QStringLiteral("translated");
    }

    bool isEmpty() const override { return false; }

    mutable std::vector<std::string> asked;
};

class WrapperFrameTest : public WrapperFixture, public testing::WithParamInterface<WrapperClass>
{
protected:
    std::shared_ptr<AbstractConverter> wrapper = Make(GetParam().stack);
};

class StackTest : public WrapperFixture, public testing::WithParamInterface<Stack>
{
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, WrapperFrameTest, testing::ValuesIn(wrapperClasses),
                         [](const auto& tested) { return LastPartOfName(tested.param); });

INSTANTIATE_TEST_SUITE_P(, StackTest, testing::ValuesIn(AllStacks()),
                         [](const auto& stack) { return stack.param.name; });

TEST_P(WrapperFrameTest, ConnectsTheEightSignalsOnceInTheFixedOrder)
{
    EXPECT_THAT(converter->connections,
                ElementsAre("UploadProgress(QString,qlonglong,qlonglong)",
                            "DownloadProgress(QString,qlonglong,qlonglong)",
                            "ConvertationStarted(QString)", "ConvertationProgress(QString,double)",
                            "ConvertationFinished(QString)", "Failed(QString,ErrorType)",
                            "Finished(QString,QString)", "Finished(QString,QStringList)"));
    for (const ConverterSignal& signal : ConverterSignals())
        EXPECT_EQ(converter->CountReceivers(signal.signature), 1) << signal;
}

TEST_P(WrapperFrameTest, RelaysSignalToSignalWhatNeedsNoTranslation)
{
    std::vector<std::string> direct;
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (signal.disconnectRelay(*converter, *wrapper))
            direct.push_back(signal.name);
    }
    EXPECT_EQ(direct, GetParam().direct);
}

TEST_P(WrapperFrameTest, ReportsEachEmissionOfAnUntranslatedSignalOnceAndUnchanged)
{
    Record(*wrapper);
    for (const ConverterSignal& signal : ConverterSignals()) {
        if (LastPartOfName(GetParam()) == "TempFileWrapper" &&
            QByteArray(signal.signature).startsWith("Finished"))
            continue;
        signal.emitFrom(*converter, "/docs/any.pdf");
        EXPECT_THAT(TakeReceived(), ElementsAre(signal.Line("/docs/any.pdf"))) << signal;
    }
}

TEST_P(WrapperFrameTest, HandlesASignalOfItsOwnThreadInsideTheEmission)
{
    Record(*wrapper);
    Q_EMIT converter->ConvertationStarted("a");
    EXPECT_THAT(TakeReceived(), ElementsAre("ConvertationStarted a"));
}

TEST_P(WrapperFrameTest, HandlesEverySignalOfAnotherThreadInItsOwnEventLoop)
{
    for (const ConverterSignal& signal : ConverterSignals()) {
        ASSERT_TRUE(wrapper->ConvertFile(MakeTask()));
        // Counts on whatever thread the wrapper emits.
        const QSignalSpy spy(wrapper.get(), QByteArray("2" + signal.signature).constData());
        OnOtherThread([&] { signal.emitFrom(*converter, converter->tasks.back().source); });
        EXPECT_EQ(spy.count(), 0) << signal;
        QCoreApplication::processEvents();
        EXPECT_EQ(spy.count(), 1) << signal;
    }
}

TEST_P(WrapperFrameTest, HasNoParentAndIsNoParentOfTheInnerConverter)
{
    EXPECT_EQ(wrapper->parent(), nullptr);
    EXPECT_EQ(converter->parent(), nullptr);
    EXPECT_THAT(wrapper->children(), IsEmpty());
}

TEST_P(WrapperFrameTest, KeepsTheBaseAtItsOwnAddress)
{
    EXPECT_EQ(dynamic_cast<void*>(wrapper.get()), static_cast<void*>(wrapper.get()));
}

TEST_P(WrapperFrameTest, OverridesConvertFileInThePlaceThatTheInterfaceGivesIt)
{
    EXPECT_EQ(GetParam().slot(), VirtualSlot(&AbstractConverter::ConvertFile));
}

TEST_P(WrapperFrameTest, HasAMetaObjectWithoutMembersOfItsOwn)
{
    const QMetaObject& meta = *GetParam().metaObject;
    EXPECT_STREQ(meta.className(), GetParam().name);
    EXPECT_EQ(meta.superClass(), &AbstractConverter::staticMetaObject);
    EXPECT_EQ(wrapper->metaObject(), &meta);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.enumeratorCount(), meta.enumeratorOffset());
    EXPECT_EQ(meta.classInfoCount(), meta.classInfoOffset());
    EXPECT_EQ(meta.constructorCount(), 0);
    const int flags = 12; // place of the flags in what Qt's meta-object compiler writes
    EXPECT_EQ(meta.d.data[flags], 0u);
}

TEST_P(WrapperFrameTest, HasTheDynamicMetaObjectWhileThereIsOne)
{
    QAbstractDynamicMetaObject dynamic;
    QObjectData& data = DataOf(*wrapper);
    data.metaObject = &dynamic;
    EXPECT_EQ(wrapper->metaObject(), &dynamic);
    data.metaObject = nullptr;
    EXPECT_EQ(wrapper->metaObject(), GetParam().metaObject);
}

TEST_P(WrapperFrameTest, CastsToItsOwnClassByTheFullNameOnly)
{
    EXPECT_EQ(wrapper->qt_metacast(GetParam().name), dynamic_cast<void*>(wrapper.get()));
    EXPECT_EQ(wrapper->qt_metacast(LastPartOfName(GetParam()).c_str()), nullptr);
    EXPECT_EQ(wrapper->qt_metacast(QByteArray(GetParam().name).toLower().constData()), nullptr);
}

TEST_P(WrapperFrameTest, CastsToTheBasesByWhatTheyAnswer)
{
    void* const object = wrapper.get();
    EXPECT_EQ(wrapper->qt_metacast("Korvel::PDF::Converter::AbstractConverter"), object);
    EXPECT_EQ(wrapper->qt_metacast("QObject"), object);
    EXPECT_EQ(qobject_cast<AbstractConverter*>(static_cast<QObject*>(wrapper.get())),
              wrapper.get());
}

TEST_P(WrapperFrameTest, CastsToNullForAnUnknownOrANullName)
{
    EXPECT_EQ(wrapper->qt_metacast("Unknown"), nullptr);
    EXPECT_EQ(wrapper->qt_metacast(nullptr), nullptr);
}

TEST_P(WrapperFrameTest, LeavesMetaCallsToTheBase)
{
    const QMetaObject& base = AbstractConverter::staticMetaObject;
    const auto invoke = QMetaObject::InvokeMetaMethod;
    EXPECT_EQ(wrapper->qt_metacall(invoke, base.methodCount() + 3, nullptr), 3);

    Record(*wrapper);
    QString source = "a";
    void* arguments[] = {nullptr, &source};
    EXPECT_LT(
        wrapper->qt_metacall(invoke, base.indexOfMethod("ConvertationStarted(QString)"), arguments),
        0);
    EXPECT_THAT(TakeReceived(), ElementsAre("ConvertationStarted a"));
}

TEST_P(WrapperFrameTest, HasAStaticMetaCallThatDoesNothing)
{
    int result = 7;
    void* arguments[] = {&result};
    GetParam().metaObject->static_metacall(QMetaObject::InvokeMetaMethod, 0, arguments);
    GetParam().metaObject->static_metacall(QMetaObject::IndexOfMethod, 0, arguments);
    EXPECT_EQ(result, 7);
}

TEST_P(WrapperFrameTest, TranslatesInTheContextOfItsClass)
{
    RecordingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    for (const auto& [member, translate] : GetParam().translators)
        EXPECT_EQ(translate("text", "note", 5), "translated") << member;
    QCoreApplication::removeTranslator(&translator);

    const std::string asked = std::string(GetParam().name) + "|text|note|5";
    EXPECT_THAT(translator.asked, AllOf(SizeIs(GetParam().translators.size()), Each(asked)));
    EXPECT_EQ(GetParam().translators.at("tr")("text", nullptr, -1), "text");
}

TEST_P(WrapperFrameTest, ExportsWhatTranslatesInTheContextOfItsClass)
{
    RecordingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    for (const auto& [member, inlined] : GetParam().translators) {
        const Translate translate = Exported(GetParam(), member);
        ASSERT_NE(translate, nullptr) << member;
        EXPECT_EQ(translate("text", "note", 5), "translated");
    }
    QCoreApplication::removeTranslator(&translator);
    const std::string asked = std::string(GetParam().name) + "|text|note|5";
    EXPECT_THAT(translator.asked, AllOf(SizeIs(GetParam().translators.size()), Each(asked)));
}

TEST_P(WrapperFrameTest, ForwardsCancellingWithItsAnswerAndDoesNothingElse)
{
    journal->clear();
    Record(*wrapper);
    LogCapture log;
    EXPECT_TRUE(wrapper->CancelConvertation());
    converter->cancels = false;
    EXPECT_FALSE(wrapper->CancelConvertation());
    EXPECT_THAT(*journal, ElementsAre("CancelConvertation", "CancelConvertation"));
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_THAT(received, IsEmpty());
}

TEST_P(WrapperFrameTest, ForwardsTheWholeMapOfFormatsAndDoesNothingElse)
{
    journal->clear();
    LogCapture log;
    EXPECT_THAT(wrapper->GetSupportedFormats(), IsEmpty());
    converter->formats = {{"", {}}, {"pdf", {"png", "txt"}}, {"Ü", {"png", "png"}}};
    EXPECT_EQ(wrapper->GetSupportedFormats(), converter->formats);
    EXPECT_THAT(*journal, ElementsAre("GetSupportedFormats", "GetSupportedFormats"));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_P(WrapperFrameTest, ForwardsAvailabilityAndDoesNothingElse)
{
    journal->clear();
    LogCapture log;
    EXPECT_TRUE(wrapper->DoesServiceAvailable());
    converter->isAvailable = false;
    EXPECT_FALSE(wrapper->DoesServiceAvailable());
    EXPECT_THAT(*journal, ElementsAre("DoesServiceAvailable", "DoesServiceAvailable"));
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_P(WrapperFrameTest, ForwardingLeavesTheTasksInFlightAlone)
{
    const Task task = MakeTask();
    ASSERT_TRUE(wrapper->ConvertFile(task));
    wrapper->CancelConvertation();
    wrapper->GetSupportedFormats();
    wrapper->DoesServiceAvailable();
    Record(*wrapper);
    files->files["result.png"] = "result";
    Q_EMIT converter->Finished(converter->tasks.back().source, QStringLiteral("result.png"));
    EXPECT_THAT(received, ElementsAre(testing::StartsWith("FinishedFile " +
                                                          task.source.toStdString() + " ")));
}

TEST_P(WrapperFrameTest, TakesOneShareOfTheConverterAndOfEachService)
{
    const bool unencrypts = GetParam().stack.wrappers.front() == Wrapper::Unencrypt;
    EXPECT_EQ(converter.use_count(), 2);
    EXPECT_EQ(names.use_count(), 2);
    EXPECT_EQ(files.use_count(), 2);
    EXPECT_EQ(pdfs.use_count(), unencrypts ? 2 : 1);
    wrapper.reset();
    EXPECT_EQ(converter.use_count(), 1);
    EXPECT_EQ(names.use_count(), 1);
    EXPECT_EQ(files.use_count(), 1);
    EXPECT_EQ(pdfs.use_count(), 1);
}

TEST_P(WrapperFrameTest, LeavesAnInnerConverterThatSomebodyElseHoldsAliveAndUnconnected)
{
    wrapper.reset();
    EXPECT_TRUE(converter->DoesServiceAvailable());
    for (const ConverterSignal& signal : ConverterSignals()) {
        EXPECT_EQ(converter->CountReceivers(signal.signature), 0) << signal;
        signal.emitFrom(*converter, "a");
    }
}

TEST_P(StackTest, ReportsFormatsAvailabilityAndCancellationOfTheInnermostConverter)
{
    const auto outermost = Make(GetParam());
    journal->clear();
    converter->formats = {{"pdf", {"png"}}};
    converter->isAvailable = false;
    converter->cancels = false;
    EXPECT_EQ(outermost->GetSupportedFormats(), converter->formats);
    EXPECT_FALSE(outermost->DoesServiceAvailable());
    EXPECT_FALSE(outermost->CancelConvertation());
    EXPECT_THAT(*journal,
                ElementsAre("GetSupportedFormats", "DoesServiceAvailable", "CancelConvertation"));
}

TEST_P(StackTest, IsDestroyedWholeFromTheOutsideWhenItHoldsTheOnlyShares)
{
    std::shared_ptr<AbstractConverter> outermost = Make(GetParam());
    ReleaseAll();
    journal->clear();
    outermost.reset();

    // Each converter is gone whole before the QObject of the wrapper around it is.
    std::vector<std::string> ends;
    std::copy_if(journal->begin(), journal->end(), std::back_inserter(ends),
                 [](const std::string& line) {
                     return line == "~FakeConverter" || line.find("wrapper ") == 0;
                 });
    std::vector<std::string> expected{"~FakeConverter"};
    for (std::size_t depth = GetParam().wrappers.size(); depth > 0; --depth)
        expected.push_back("wrapper " + std::to_string(depth) + " is destroyed");
    EXPECT_EQ(ends, expected);
}

TEST_P(StackTest, PassesFailedOnWithAnyErrorType)
{
    const auto outermost = Make(GetParam());
    Record(*outermost);
    for (const int error : {0, 1, 8, 9, -1, 42, INT_MAX, INT_MIN}) {
        const Task task = MakeTask();
        ASSERT_TRUE(outermost->ConvertFile(task));
        Q_EMIT converter->Failed(converter->tasks.back().source,
                                 AbstractConverter::ErrorType(error));
        EXPECT_THAT(TakeReceived(), ElementsAre("Failed " + task.source.toStdString() + " " +
                                                std::to_string(error)));
    }
}

TEST_P(StackTest, HandlesAResultThatComesFromInsideConvertFileLikeALaterOne)
{
    const auto outermost = Make(GetParam());
    Record(*outermost);
    const Task task = MakeTask("result.png");
    converter->onConvertFile = [this](const Task& inner) {
        files->files[inner.destination.toStdString()] = "result";
        Q_EMIT converter->Finished(inner.source, inner.destination);
    };
    EXPECT_TRUE(outermost->ConvertFile(task));
    EXPECT_THAT(received, ElementsAre("FinishedFile " + task.source.toStdString() + " result.png"));
}

TEST_P(StackTest, AcceptsAndReportsAnEmptyResult)
{
    const auto outermost = Make(GetParam());
    Record(*outermost);
    const Task task = MakeTask();
    ASSERT_TRUE(outermost->ConvertFile(task));
    Q_EMIT converter->Finished(converter->tasks.back().source, QString());
    EXPECT_THAT(received, ElementsAre("FinishedFile " + task.source.toStdString() + " "));
}

TEST_P(StackTest, AnswersFalseWithoutASignalWhenTheInnermostConverterRefuses)
{
    const auto outermost = Make(GetParam());
    Record(*outermost);
    converter->accepts = false;
    EXPECT_FALSE(outermost->ConvertFile(MakeTask()));
    EXPECT_THAT(converter->tasks, testing::SizeIs(1));
    EXPECT_THAT(received, IsEmpty());
}

TEST_P(StackTest, ConvertsATaskWithoutOptions)
{
    const auto outermost = Make(GetParam());
    Task task = MakeTask();
    task.options.clear();
    EXPECT_TRUE(outermost->ConvertFile(task));
    EXPECT_EQ(converter->tasks.back().source, task.source);
    EXPECT_THAT(converter->tasks.back().options, IsEmpty());
}

} // namespace Korvel::PDF::Test
