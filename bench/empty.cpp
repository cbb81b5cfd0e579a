// The floor of the program's start: a Qt program that does nothing.
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return 0;
}
