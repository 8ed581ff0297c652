// Statuses as a host prints them: the name, the number and the platform's text.
#pragma once

#include <string>

#include "zqplatform/types.h"

/// "NAME (0x8007000E): text", or the number and text for a status without a name.
std::string DescribeStatus(HRESULT hr);
