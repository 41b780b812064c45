// Shows the pages of a PDF: viewer [DOCUMENT.pdf]

#include "ViewerWindow.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    const QApplication application(argc, argv);
    ViewerWindow window;
    window.show();
    if (argc == 2)
        window.Open(QApplication::arguments().last());
    return QApplication::exec();
}
