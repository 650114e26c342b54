#pragma once

#include "RecordingSessionHost.h"
#include "TestHome.h"
#include "foundation/Defaults.h"
#include "foundation/ScriptedInteraction.h"

#include <memory>

// A temporary home with what every core test stands on: the defaults store in it, a scripted
// interaction, and a host that records the banners a session shows.
class TestEnvironment : public TestHome {
public:
    TestEnvironment();
    ~TestEnvironment();
    TestEnvironment(const TestEnvironment &) = delete;
    TestEnvironment &operator=(const TestEnvironment &) = delete;

    Defaults &defaults() { return *store; }
    ScriptedInteraction &interaction() { return scripted; }
    RecordingSessionHost &host() { return *recorder; }

    // Processes the event loop until no task runs and no queued call waits.
    static bool runUntilIdle(int timeoutMs = 10000);

private:
    std::unique_ptr<Defaults> store;
    ScriptedInteraction scripted;
    std::unique_ptr<RecordingSessionHost> recorder;
};
