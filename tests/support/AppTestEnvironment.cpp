#include "AppTestEnvironment.h"

std::unique_ptr<AppState> AppTestEnvironment::makeAppState()
{
    return std::make_unique<AppState>(defaults(), interaction());
}
