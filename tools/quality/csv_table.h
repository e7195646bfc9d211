// SPDX-License-Identifier: BSD-2-Clause
// CSV files of numbers: a line of column names, then lines of as many numbers.
#pragma once

#include <stddef.h>

#include <string>
#include <vector>

class CsvTable {
  public:
    // Throws VideoError when the file cannot be read or is no such table.
    explicit CsvTable(const std::string &path);

    size_t Rows() const { return mRows; }

    // Throws VideoError when there is no column of this name.
    const std::vector<double> &Column(const std::string &name) const;

  private:
    void AddLine(const std::string &line);
    [[noreturn]] void Fail(const std::string &why) const;

    std::string mPath;
    size_t mRows = 0;
    std::vector<std::string> mNames;
    std::vector<std::vector<double>> mColumns;
};
