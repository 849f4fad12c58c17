// A session in the event loop of Qt 6.

#include <QCoreApplication>
#include <QSocketNotifier>

#include "head_unit.h"

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    zrmirvo::Session session(ZRMIRVO_VERSION_TEXT);
    headUnit(session, [] { QCoreApplication::quit(); });

    QSocketNotifier notifier(session.fd(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] { session.dispatch(); });
    return QCoreApplication::exec();
}
