// Prints where the library finds the worker, seen from wherever this program lies; where it finds
// none, why no request can be sent.

#include "WorkerProcess.h"

#include <iostream>

#include <QCoreApplication>
#include <QFile>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    Korvel::PDF::WorkerProcess worker;
    std::cout << QFile::encodeName(worker.Program()).toStdString();
    if (worker.Program().isEmpty()) {
        worker.Ask({{"op", "open"}}, [](const QJsonObject& answer) {
            std::cerr << answer["message"].toString().toStdString();
            QCoreApplication::quit();
        });
        return QCoreApplication::exec();
    }
    return 0;
}
