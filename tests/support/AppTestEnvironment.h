#pragma once

#include "TestEnvironment.h"
#include "app/AppState.h"

#include <memory>

// The test environment with the whole application on it: states built on its defaults and its
// scripted interaction.
class AppTestEnvironment : public TestEnvironment {
public:
    std::unique_ptr<AppState> makeAppState();
};
