#pragma once

#include "IPDFProvider.h"

#include <map>
#include <memory>

#include <QThreadPool>

class QPDF;

/** Opens documents with libqpdf inside this process; for documents that are trusted. */
class InProcessPdfProvider : public Korvel::PDF::IPDFProvider
{
public:
    InProcessPdfProvider();
    ~InProcessPdfProvider() override;

    std::future<Korvel::PDF::DocumentHandle> OpenDocument(const Korvel::ioPath& file,
                                                          const std::string& password) override;
    std::future<bool> SaveDocument(const Korvel::PDF::DocumentHandle& document,
                                   const Korvel::ioPath& file) override;
    std::future<bool> CloseDocument(const Korvel::PDF::DocumentHandle& document) override;

private:
    template <typename Answer, typename Work>
    std::future<Answer> Ask(Answer failed, Work work);

    //! [members]
    std::map<std::int64_t, std::unique_ptr<QPDF>> documents; // used on the thread alone
    std::int64_t lastId = 0;
    QThreadPool thread; // the last member: destroyed first, when it has answered everything
    //! [members]
};
