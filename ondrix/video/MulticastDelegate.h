#pragma once

#include <ondrix/base/MulticastDelegate.h>
