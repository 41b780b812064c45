// Shows the pages of a PDF: viewer [DOCUMENT.pdf]

#include "ViewerWindow.h"

#include <QApplication>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    ViewerWindow window;
    window.show();
    if (argc == 2)
        window.Open(QApplication::arguments().last());
    return QApplication::exec();
}
