#pragma once

#include "ContractGuard.h"
#include "IPDFProvider.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <QTemporaryDir>

namespace Korvel::PDF::TestKit {

/** The PDF service that PdfProviderContract checks, and documents for it. Paths are UTF-8. */
class PdfProviderFixture : public testing::Test
{
public:
    /** The object to check, the same one during a test. */
    virtual IPDFProvider& Provider() = 0;

    /** A document that opens without a password. */
    virtual std::string PlainDocument() = 0;

    /** A document that opens with Password() alone, and not without one. */
    virtual std::string EncryptedDocument() = 0;
    /** What opens EncryptedDocument(); UTF-8. */
    virtual std::string Password() = 0;

    /** How long any one answer is waited for before it counts as missing. */
    virtual std::chrono::milliseconds Patience() const { return std::chrono::minutes(1); }
};

/** Asks a provider as a caller does that blocks, and fails the running test at a bad answer. */
class BlockingCaller
{
public:
    /** Asks the fixture's provider. */
    explicit BlockingCaller(PdfProviderFixture& given) : fixture(given) {}

    /** The provider's future, which fails the running test when it is not handed out. */
    std::future<DocumentHandle> StartOpen(const std::string& file, const std::string& password = {})
    {
        return Unthrown("IPDFProvider::OpenDocument must throw nothing",
                        [&] { return fixture.Provider().OpenDocument(ioPath(file), password); });
    }

    /** As StartOpen. */
    std::future<bool> StartSave(const DocumentHandle& document, const std::string& file)
    {
        return Unthrown("IPDFProvider::SaveDocument must throw nothing",
                        [&] { return fixture.Provider().SaveDocument(document, ioPath(file)); });
    }

    /** As StartOpen. */
    std::future<bool> StartClose(const DocumentHandle& document)
    {
        return Unthrown("IPDFProvider::CloseDocument must throw nothing",
                        [&] { return fixture.Provider().CloseDocument(document); });
    }

    /** What the future holds, or an empty value. Runs no event loop meanwhile. */
    template <typename T>
    T Answer(std::future<T> future)
    {
        if (!future.valid()) {
            ADD_FAILURE() << "Every future of an IPDFProvider must have a state";
            return {};
        }
        const std::future_status status = future.wait_for(fixture.Patience());
        EXPECT_NE(status, std::future_status::deferred)
            << "An IPDFProvider must complete its futures on threads of its own; this one is left "
            << "to whoever waits for it";
        EXPECT_NE(status, std::future_status::timeout)
            << "Every future of an IPDFProvider must become ready without the caller's event loop; "
            << "this one did not within " << fixture.Patience().count() << " ms";
        if (status != std::future_status::ready)
            return {};
        return Unthrown("An IPDFProvider must report failures as values, not as exceptions",
                        [&future] { return future.get(); });
    }

    /** Opens, and waits for the answer. */
    DocumentHandle Open(const std::string& file, const std::string& password = {})
    {
        return Answer(StartOpen(file, password));
    }

    /** Saves, and waits for the answer. */
    bool Save(const DocumentHandle& document, const std::string& file)
    {
        return Answer(StartSave(document, file));
    }

    /** Closes, and waits for the answer. */
    bool Close(const DocumentHandle& document) { return Answer(StartClose(document)); }

    /** Destroys the future, and fails the running test when that blocks. */
    template <typename T>
    void Drop(std::future<T> future)
    {
        std::promise<void> promise;
        const std::future<void> dropped = promise.get_future();
        // Detached: where the promise is broken, the thread may never come back.
        std::thread([future = std::move(future), promise = std::move(promise)]() mutable {
            future = std::future<T>();
            promise.set_value();
        }).detach();
        EXPECT_EQ(dropped.wait_for(fixture.Patience()), std::future_status::ready)
            << "Destroying a future of an IPDFProvider must not block";
    }

private:
    PdfProviderFixture& fixture;
};

/**
 * Checks a PDF service against everything that IPDFProvider promises.
 *
 *     class MyProviderTest : public Korvel::PDF::TestKit::PdfProviderFixture
 *     {
 *     public:
 *         Korvel::PDF::IPDFProvider& Provider() override { return provider; }
 *         std::string PlainDocument() override { return "testdata/plain.pdf"; }
 *         std::string EncryptedDocument() override { return "testdata/encrypted.pdf"; }
 *         std::string Password() override { return "secret"; }
 *         MyProvider provider;
 *     };
 *
 *     using namespace Korvel::PDF::TestKit;
 *     INSTANTIATE_TYPED_TEST_SUITE_P(Mine, PdfProviderContract, MyProviderTest);
 *
 * - Every future has a state and becomes ready while the caller blocks; none holds an exception.
 * - What cannot be opened is answered by a negative id: a missing file, a folder, another kind of
 *   file, a missing or wrong password.
 * - A saved copy opens without a password, its owner alone can read it, and it lies behind no link.
 *   What cannot be written is answered by false.
 * - A document stays open until it is closed, and no longer, whatever becomes of handles and of
 *   other documents, those opened from the same file included.
 * - CloseDocument goes ahead without its future; of what is not open it answers false.
 * - Destroying a future comes back. That it waited for an operation which ended cannot be seen.
 */
template <typename Fixture>
class PdfProviderContract : public Fixture
{
protected:
    /** A path in a folder of this test. */
    std::string InFolder(const std::string& name) const
    {
        return folder.path().toStdString() + "/" + name;
    }

    /** The plain document, opened; fails the running test when it is not. */
    DocumentHandle OpenPlain()
    {
        const DocumentHandle document = caller.Open(application.PlainDocument());
        EXPECT_GE(document.id, 0)
            << "IPDFProvider::OpenDocument must answer an id that is not negative for a document "
            << "that opens without a password";
        return document;
    }

    /** The encrypted document, opened; fails the running test when it is not. */
    DocumentHandle OpenEncrypted()
    {
        const DocumentHandle document =
            caller.Open(application.EncryptedDocument(), application.Password());
        EXPECT_GE(document.id, 0)
            << "IPDFProvider::OpenDocument must answer an id that is not negative for an encrypted "
            << "document and its password";
        return document;
    }

    /** Fails the running test, naming `what`, when the file is opened. */
    void ExpectNotOpened(const char* what, const std::string& file, const std::string& password)
    {
        EXPECT_LT(caller.Open(file, password).id, 0)
            << "IPDFProvider::OpenDocument must answer a negative id for " << what;
    }

    /** The fixture. */
    PdfProviderFixture& application = *this;
    /** Asks the provider that is checked. */
    BlockingCaller caller{application};
    /** The folder of this test. */
    const QTemporaryDir folder;
};

TYPED_TEST_SUITE_P(PdfProviderContract);

TYPED_TEST_P(PdfProviderContract, OpensAndClosesADocument)
{
    EXPECT_TRUE(this->caller.Close(this->OpenPlain()))
        << "IPDFProvider::CloseDocument must answer true for a document that was open";
}

TYPED_TEST_P(PdfProviderContract, OpensAnEncryptedDocumentWithItsPassword)
{
    EXPECT_TRUE(this->caller.Close(this->OpenEncrypted()))
        << "IPDFProvider::CloseDocument must answer true for a document that was open";
}

TYPED_TEST_P(PdfProviderContract, AnEncryptedDocumentDoesNotOpenWithoutItsPassword)
{
    const std::string file = this->application.EncryptedDocument();
    this->ExpectNotOpened("a missing password", file, "");
    this->ExpectNotOpened("a wrong password", file, this->application.Password() + "x");
}

TYPED_TEST_P(PdfProviderContract, WhatIsNoDocumentDoesNotOpen)
{
    std::ofstream(this->InFolder("letter.pdf")) << "Dear Sir or Madam";
    std::ofstream(this->InFolder("empty.pdf")).flush();
    this->ExpectNotOpened("a file that is no PDF", this->InFolder("letter.pdf"), "");
    this->ExpectNotOpened("an empty file", this->InFolder("empty.pdf"), "");
    this->ExpectNotOpened("a missing file", this->InFolder("missing.pdf"), "");
    this->ExpectNotOpened("a folder", this->folder.path().toStdString(), "");
    this->ExpectNotOpened("an empty path", "", "");
}

TYPED_TEST_P(PdfProviderContract, ASavedCopyOpensWithoutAPassword)
{
    std::string copy = this->InFolder("copy");
    for (const DocumentHandle& document : {this->OpenPlain(), this->OpenEncrypted()}) {
        copy += ".pdf";
        EXPECT_TRUE(this->caller.Save(document, copy))
            << "IPDFProvider::SaveDocument must answer true when the file was written";
        const DocumentHandle opened = this->caller.Open(copy);
        EXPECT_GE(opened.id, 0)
            << "IPDFProvider::SaveDocument must write a copy that opens with an empty password";
        this->caller.Close(opened);
        this->caller.Close(document);
    }
}

TYPED_TEST_P(PdfProviderContract, ASavedCopyIsPrivate)
{
    using std::filesystem::perms;
    const DocumentHandle document = this->OpenPlain();
    EXPECT_TRUE(this->caller.Save(document, this->InFolder("copy.pdf")));
    std::error_code problem;
    const auto status = std::filesystem::status(this->InFolder("copy.pdf"), problem);
    EXPECT_EQ(status.permissions() & (perms::group_all | perms::others_all), perms::none)
        << "IPDFProvider::SaveDocument must write a file that its owner alone can read";
    this->caller.Close(document);
}

TYPED_TEST_P(PdfProviderContract, ASavedCopyFollowsNoLink)
{
    const DocumentHandle document = this->OpenPlain();
    const std::string target = this->InFolder("elsewhere.pdf");
    std::filesystem::create_symlink(target, this->InFolder("link.pdf"));
    this->caller.Save(document, this->InFolder("link.pdf"));
    EXPECT_FALSE(std::filesystem::exists(target))
        << "IPDFProvider::SaveDocument must follow no link";
    this->caller.Close(document);
}

TYPED_TEST_P(PdfProviderContract, WhatCannotBeWrittenIsNotSaved)
{
    const DocumentHandle document = this->OpenPlain();
    for (const std::string& path : {this->InFolder("missing/copy.pdf"), this->InFolder("."),
                                    this->application.PlainDocument() + "/copy.pdf", std::string()})
        EXPECT_FALSE(this->caller.Save(document, path))
            << "IPDFProvider::SaveDocument must answer false for a path that cannot be written, \""
            << path << '"';
    this->caller.Close(document);
}

TYPED_TEST_P(PdfProviderContract, ADocumentIsOpenUntilItIsClosedWhateverBecomesOfItsHandles)
{
    const DocumentHandle document = this->OpenPlain();
    {
        const DocumentHandle copy = document;
        EXPECT_TRUE(this->caller.Save(copy, this->InFolder("1.pdf")))
            << "IPDFProvider must know a document by a copy of its handle";
    }
    EXPECT_TRUE(this->caller.Save(document, this->InFolder("2.pdf")))
        << "IPDFProvider must keep a document open when a copy of its handle is destroyed";
    EXPECT_TRUE(this->caller.Close(document))
        << "IPDFProvider::CloseDocument must answer true for a document that was open";
    EXPECT_FALSE(this->caller.Save(document, this->InFolder("3.pdf")))
        << "IPDFProvider::SaveDocument must answer false for a document that was closed";
}

TYPED_TEST_P(PdfProviderContract, WhatIsNotOpenIsNotClosed)
{
    const DocumentHandle document = this->OpenPlain();
    EXPECT_TRUE(this->caller.Close(document))
        << "IPDFProvider::CloseDocument must answer true for a document that was open";
    EXPECT_FALSE(this->caller.Close(document))
        << "IPDFProvider::CloseDocument must answer false for a document that was closed";
    EXPECT_FALSE(this->caller.Close(DocumentHandle()))
        << "IPDFProvider::CloseDocument must answer false for a document that was never opened";
    EXPECT_FALSE(this->caller.Save(DocumentHandle(), this->InFolder("copy.pdf")))
        << "IPDFProvider::SaveDocument must answer false for a document that was never opened";
}

TYPED_TEST_P(PdfProviderContract, DocumentsAreIndependent)
{
    const DocumentHandle first = this->OpenPlain();
    const DocumentHandle same = this->OpenPlain();
    const DocumentHandle other = this->OpenEncrypted();
    EXPECT_TRUE(this->caller.Close(first));
    std::string copy = this->InFolder("copy");
    for (const DocumentHandle& document : {same, other}) {
        EXPECT_TRUE(this->caller.Save(document, copy += ".pdf"))
            << "IPDFProvider must keep a document open when another one is closed";
        EXPECT_TRUE(this->caller.Close(document))
            << "IPDFProvider must keep a document open when another one is closed";
    }
}

TYPED_TEST_P(PdfProviderContract, SeveralDocumentsAreWorkedOnAtOnce)
{
    std::vector<std::future<DocumentHandle>> opening;
    for (int i = 0; i < 4; ++i) {
        opening.push_back(this->caller.StartOpen(this->application.PlainDocument()));
        opening.push_back(this->caller.StartOpen(this->application.EncryptedDocument(),
                                                 this->application.Password()));
    }
    std::vector<DocumentHandle> documents;
    std::vector<std::future<bool>> saving;
    for (auto& future : opening) {
        documents.push_back(this->caller.Answer(std::move(future)));
        saving.push_back(this->caller.StartSave(
            documents.back(), this->InFolder(std::to_string(documents.size()) + ".pdf")));
    }
    for (auto& future : saving)
        EXPECT_TRUE(this->caller.Answer(std::move(future)))
            << "An IPDFProvider must work on several documents at once";
    for (const DocumentHandle& document : documents)
        EXPECT_TRUE(this->caller.Close(document))
            << "An IPDFProvider must work on several documents at once";
}

TYPED_TEST_P(PdfProviderContract, ClosesWithoutTheFuture)
{
    using Clock = std::chrono::steady_clock;
    const DocumentHandle document = this->OpenPlain();
    this->caller.StartClose(document);
    const auto deadline = Clock::now() + this->application.Patience();
    bool isOpen = true;
    // Nothing says when the close is done; each round waits for an answer of the provider.
    while (isOpen && Clock::now() < deadline) {
        isOpen = this->caller.Save(document, this->InFolder("copy.pdf"));
        ioPath::remove(this->InFolder("copy.pdf"));
    }
    EXPECT_FALSE(isOpen)
        << "IPDFProvider::CloseDocument must go ahead when its future is destroyed";
}

TYPED_TEST_P(PdfProviderContract, DestroyingAFutureComesBack)
{
    const DocumentHandle document = this->OpenPlain();
    this->caller.Drop(this->caller.StartOpen(this->InFolder("unwanted.pdf")));
    // Nowhere: nobody would wait for the file before the folder is removed.
    this->caller.Drop(this->caller.StartSave(document, this->InFolder("missing/copy.pdf")));
    this->caller.Drop(this->caller.StartClose(document));
}

REGISTER_TYPED_TEST_SUITE_P(
    PdfProviderContract, OpensAndClosesADocument, OpensAnEncryptedDocumentWithItsPassword,
    AnEncryptedDocumentDoesNotOpenWithoutItsPassword, WhatIsNoDocumentDoesNotOpen,
    ASavedCopyOpensWithoutAPassword, ASavedCopyIsPrivate, ASavedCopyFollowsNoLink,
    WhatCannotBeWrittenIsNotSaved, ADocumentIsOpenUntilItIsClosedWhateverBecomesOfItsHandles,
    WhatIsNotOpenIsNotClosed, DocumentsAreIndependent, SeveralDocumentsAreWorkedOnAtOnce,
    ClosesWithoutTheFuture, DestroyingAFutureComesBack);

} // namespace Korvel::PDF::TestKit
