#pragma once

#include <string>
#include <utility>

namespace zrmirvo {

// How a request has ended. A small value, which any thread may use.
//
//     phone.key(Key::Back, Press::Down).then([](Status s) { if (!s) std::cerr << s.text(); });
class Status {
public:
    // The kinds of ends.
    enum class Code {
        Done,             ///< the service has done it; for connect and disconnect: it has been sent
        Service,          ///< the service has answered with a code of its own, see value()
        Failed,           ///< no answer came, or one of the wrong class: the log says why
        NoService,        ///< there is no service at present
        Refused,          ///< the session does not accept the arguments: text() says why
        QueueFull,        ///< too many requests wait already
        TooLate,          ///< the request has waited too long and has not been sent
        Gone,             ///< the phone or the session is gone; the request has not been sent
        VersionMismatch,  ///< the service is of a version that does not fit
        SecondSession,    ///< there is another session in this process
    };

    // `why` is a string literal, which is not copied.
    explicit Status(Code code, const char* why = "") : mCode(code), mWhy(why) {}

    // The status for a result of the facade.
    static Status ofResult(int result) {
        Status status(result == 0 ? Code::Done : result == 1 ? Code::Failed : Code::Service);
        status.mValue = result;
        return status;
    }

    // Whether it is Code::Done.
    explicit operator bool() const { return mCode == Code::Done; }
    // Which kind of end it is.
    Code code() const { return mCode; }
    // The code of the service, if code() is Service.
    int value() const { return mValue; }

    // For a log or a developer, in English.
    std::string text() const {
        switch (mCode) {
            case Code::Done:
                return "done";
            case Code::Service:
                return "the service answered " + std::to_string(mValue);
            case Code::Failed:
                return "failed, and the log says why";
            case Code::NoService:
                return "there is no service";
            case Code::Refused:
                return std::string("refused: ") + mWhy;
            case Code::QueueFull:
                return "too many requests wait";
            case Code::TooLate:
                return "waited too long and was not sent";
            case Code::Gone:
                return "the phone or the session is gone";
            case Code::VersionMismatch:
                return "the service is of another version";
            case Code::SecondSession:
                return "another session exists in this process";
        }
        return "unknown";
    }

private:
    Code mCode;
    int mValue = 0;
    const char* mWhy;
};

// How a request that asks for something has ended, and what it got. The value is empty when the
// request was not successful, except that a service may deliver bytes with a code of its own.
template <typename T>
struct Result {
    // Without a value.
    explicit Result(Status how) : status(how) {}
    // With a value.
    Result(Status how, T what) : status(how), value(std::move(what)) {}

    // Whether the status is Code::Done.
    explicit operator bool() const { return static_cast<bool>(status); }
    // The text of the status.
    std::string text() const { return status.text(); }

    Status status;  ///< How the request has ended.
    T value{};      ///< What the request got.
};

}  // namespace zrmirvo
