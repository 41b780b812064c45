#pragma once

#include "FakePdfProvider.h"
#include "PdfProviderContract.h"

#include <QTemporaryDir>

namespace Korvel::PDF::Test {

/** Holds a FakePdfProvider, or what is derived from it, against the contract. */
template <typename Fake>
class FakePdfProviderFixture : public TestKit::PdfProviderFixture
{
public:
    void SetUp() override
    {
        FakePdfProvider::MakeDocument(PlainDocument(), "");
        FakePdfProvider::MakeDocument(EncryptedDocument(), Password());
    }

    IPDFProvider& Provider() override { return provider; }
    std::string PlainDocument() override { return folder.path().toStdString() + "/plain.pdf"; }
    std::string EncryptedDocument() override { return folder.path().toStdString() + "/locked.pdf"; }
    std::string Password() override { return "secret"; }

private:
    QTemporaryDir folder;
    Fake provider;
};

} // namespace Korvel::PDF::Test
