#pragma once

#include <memory>

#include <QIcon>
#include <QImage>
#include <QThread>
#include <QWidget>

namespace Korvel::PDF {
class SessionFolder;
}

class PageMaker;
class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;

/** Shows the pages of one document as they come, and asks for its password. */
class DocumentView : public QWidget
{
    Q_OBJECT

public:
    /** @param session  of this document alone, for what is temporary */
    DocumentView(std::shared_ptr<const Korvel::PDF::SessionFolder> session, const QString& file);

    /** Ends the work on the document. */
    ~DocumentView() override;

private:
    void LayOut();
    void Connect();
    void Open(const QString& password);
    void ShowWork(bool isAtWork);
    void AskForPassword(bool isWrong);
    QIcon MakeIcon(const QImage& page) const;
    void ShowPages(int pages, int shown);
    void ShowPage(int page, const QImage& picture);
    void End(const QString& text);

    const QString name;
    QListWidget* const pageList;
    /** In the place of the pages when there are none, and below them. */
    QLabel* const note;
    QLabel* const message;
    QProgressBar* const progress;
    QPushButton* const cancel;
    QThread thread;
    PageMaker* const maker;
};
