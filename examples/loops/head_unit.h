#pragma once

#include <zrmirvo/Session.h>
#include <zrmirvo/Version.h>

#include <functional>
#include <iostream>

// What the application does, whatever loop it has: when a phone says that it runs, it presses the
// phone's back key, and then ends.
inline void headUnit(zrmirvo::Session& session, const std::function<void()>& quit) {
    session.onPhone([quit](const zrmirvo::Phone& phone) {
        phone.onRunningState([phone, quit](int state) {
            std::cout << "phone " << phone.id() << " is in state " << state << std::endl;
            phone.key(zrmirvo::Key::Back, zrmirvo::Press::Down).then([quit](zrmirvo::Status how) {
                std::cout << "back key: " << how.text() << std::endl;
                quit();
            });
        });
        phone.readyForPairing(true);
    });
}
