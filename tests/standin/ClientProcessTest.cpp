#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "tests/standin/ServiceTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Signal.h"

// What the process of a client sees of the stand-in's threads and sockets: its signals, its forked
// children and its end.

namespace accessory {
namespace {

using testing_support::entries;
using testing_support::Signal;

TEST_F(ServiceTest, leavesTheSignalsOfCrashesAndProfilersOpenInCallbacks) {
    const sp<ServiceClient> client = bind();
    sigset_t blocked;
    Signal seen;
    const sp<Recorder> recorder = record(client, [&] {
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        seen.set();
    });
    ASSERT_EQ(ask(client, kNotifyMany, 1), kNotifyMany);
    ASSERT_TRUE(seen.wait());
    for (const int open : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, SIGPROF}) {
        EXPECT_EQ(sigismember(&blocked, open), 0) << strsignal(open);
    }
    for (const int handled : {SIGINT, SIGTERM, SIGALRM, SIGCHLD, SIGUSR1}) {
        EXPECT_EQ(sigismember(&blocked, handled), 1) << strsignal(handled);
    }
}

// Runs `act` in a forked child, which ends with the bits of its answer as the status.
int inChild(const std::function<int()>& act) {
    const pid_t child = fork();
    if (child == 0) _exit(act());
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(ServiceTest, letsNoForkedChildDisturbItsParent) {
    sp<ServiceClient> client = bind();
    sp<Recorder> recorder = record(client);
    ASSERT_EQ(ask(client, kEcho), kEcho);
    EXPECT_EQ(inChild([&] {
                  testing_support::LogCapture log;
                  const sp<Recorder> own = new Recorder;
                  // A processor's emulator may have a thread of its own.
                  const size_t threads = entries("/proc/self/task");
                  const bool failed = ask(client, kNotifyMany, 1) == kNone &&
                                      listen(client, own) != 0 && unlisten(client, own) != 0 &&
                                      bind() == nullptr;
                  android::ProcessState::self()->startThreadPool();
                  client.clear();
                  recorder.clear();
                  return (failed ? 1 : 0) + (entries("/proc/self/task") == threads ? 2 : 0) +
                         (log.take("ServiceFramework").size() == 5 ? 4 : 0);
              }),
              7);
    ASSERT_EQ(ask(client, kNotifyMany, 100), kNotifyMany);
    EXPECT_EQ(recorder->await(100), upTo(100));
}

TEST_F(ServiceTest, receivesNothingInAChildThatACallbackForked) {
    constexpr int kCalledInChild = 9;
    // Takes no lock in the child, since another thread may have held it.
    class Forking final : public ServiceNotifyListener {
    public:
        void onNotify(sp<ServiceNotify>&) override {
            if (mChild == 0) _exit(kCalledInChild);
            if (mChild > 0) return;
            EXPECT_TRUE(mMoreHasCome.wait());
            mChild = fork();
            // The child had this one thread, and ends with it.
            if (mChild > 0) waitpid(mChild, &mStatus, 0);
        }
        Signal mMoreHasCome;
        pid_t mChild = -1;
        int mStatus = 0;
    };
    const sp<ServiceClient> client = bind();
    const sp<Forking> forking = new Forking;
    ASSERT_EQ(listen(client, forking), 0);
    const sp<Recorder> recorder = record(client);
    ASSERT_EQ(ask(client, kNotifyMany, 10'000), kNotifyMany);
    forking->mMoreHasCome.set();
    EXPECT_EQ(recorder->await(10'000), upTo(10'000));
    EXPECT_TRUE(WIFEXITED(forking->mStatus));
    EXPECT_EQ(WEXITSTATUS(forking->mStatus), EXIT_FAILURE);
}

TEST_F(ServiceTest, endsCleanlyWithoutReleasingAnything) {
    Role leaving("--leave", mDirectory);
    EXPECT_EQ(leaving.finish(), 7);
    EXPECT_EQ(ask(bind(), kEcho), kEcho);
}

}  // namespace
}  // namespace accessory
