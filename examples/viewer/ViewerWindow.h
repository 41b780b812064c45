#pragma once

#include <QWidget>

class QLabel;
class QPushButton;

/** The window: a PDF is dropped onto it, or opened by its button, and its pages are shown. */
class ViewerWindow : public QWidget
{
    Q_OBJECT

public:
    ViewerWindow();

    /** Shows a document in place of the one before. */
    void Open(const QString& file);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void ChooseFile();
    void Show(QWidget* widget);

    QPushButton* const open;
    QLabel* const title;
    QWidget* content;
};
