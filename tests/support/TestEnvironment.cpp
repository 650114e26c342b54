#include "TestEnvironment.h"

#include "foundation/Concurrency.h"
#include "platform/Paths.h"

TestEnvironment::TestEnvironment()
    : store(std::make_unique<Defaults>(Paths::defaultsFile())),
      recorder(std::make_unique<RecordingSessionHost>(*store, scripted))
{
}

TestEnvironment::~TestEnvironment()
{
    recorder.reset();
    store.reset();
}

bool TestEnvironment::runUntilIdle(int timeoutMs)
{
    return ::runUntilIdle(timeoutMs);
}
