// SPDX-License-Identifier: BSD-2-Clause
// What the command lines of the smaller programs have in common.
#pragma once

#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "quorvel/version.h"

// The status of a program that cannot use its command line; 1 is for what goes wrong later.
const int kWrongUsage = 2;

inline int ReportFault(const CLI::App &app, const std::string &fault, int status) {
    std::cerr << app.get_name() << ": " << fault << (status == kWrongUsage ? " (see --help)\n" : "\n");
    return status;
}

// True to go on. Otherwise `status` is the program's: 0 after --help and --version.
inline bool ParseCommandLine(CLI::App &app, int argc, char **argv, int &status) {
    app.set_version_flag("--version", app.get_name() + " " QUORVEL_VERSION,
                         "Print the version and exit");
    try {
        app.parse(argc, argv);
        return true;
    } catch (const CLI::ParseError &error) {
        status =
            error.get_exit_code() == 0 ? app.exit(error) : ReportFault(app, error.what(), kWrongUsage);
        return false;
    }
}
