// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <obs-module.h>

// The filter as it is registered with the host.
obs_source_info StabilizeInfo();
