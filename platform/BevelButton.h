#pragma once

#include "platform/PushButton.h"

// A bevel button acts as a push button here; only its look differed.
using BevelButton = PushButton;
