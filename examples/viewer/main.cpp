// Shows the pages of a PDF: viewer [DOCUMENT.pdf]

#include "ViewerWindow.h"

#include <QApplication>

int main(int argc, char** argv)
{
#if QT_VERSION_MAJOR == 5 // Qt 6 does so by itself
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    const QApplication application(argc, argv);
    ViewerWindow window;
    window.show();
    if (argc == 2)
        window.Open(QApplication::arguments().last());
    return QApplication::exec();
}
