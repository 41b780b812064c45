// Prints where the library finds the worker, seen from wherever this program lies.

#include "WorkerProcess.h"

#include <iostream>

#include <QCoreApplication>
#include <QFile>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    std::cout << QFile::encodeName(Korvel::PDF::WorkerProcess::FindProgram()).toStdString();
    return 0;
}
