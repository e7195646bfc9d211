// SPDX-License-Identifier: BSD-2-Clause
// The parts of a report's page that are the same in every one.
#pragma once

extern const char kReportStyle[];  // CSS
extern const char kReportScript[]; // JavaScript: zooms the charts over the time
