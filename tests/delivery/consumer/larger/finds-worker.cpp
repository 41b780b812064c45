// Says where the worker lies that was built with the library.

#include "WorkerProcess.h"

#include <iostream>

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QString program = Korvel::PDF::WorkerProcess::FindProgram();
    std::cout << "worker: " << program.toStdString() << '\n';
    return program.isEmpty() ? 1 : 0;
}
