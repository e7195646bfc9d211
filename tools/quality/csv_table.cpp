// SPDX-License-Identifier: BSD-2-Clause
#include "quality/csv_table.h"

#include <algorithm>
#include <sstream>

#include "video/byte_file.h"
#include "video/picture.h"

namespace {

const size_t kMaxLine = 4096;

std::vector<std::string> Split(const std::string &line) {
    std::vector<std::string> cells;
    std::istringstream text(line);
    for (std::string cell; std::getline(text, cell, ',');) cells.push_back(cell);
    return cells;
}

bool ParseDouble(const std::string &text, double &value) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    return (stream >> value) && stream.peek() == std::istringstream::traits_type::eof();
}

} // namespace

CsvTable::CsvTable(const std::string &path) : mPath(path) {
    ByteInput input(path);
    std::string line;
    if (!input.ReadLine(line, kMaxLine)) Fail("no CSV table");
    mNames = Split(line);
    mColumns.resize(mNames.size());
    while (input.ReadLine(line, kMaxLine)) AddLine(line);
    if (!line.empty()) Fail("ends within a line");
}

void CsvTable::AddLine(const std::string &line) {
    std::vector<std::string> cells = Split(line);
    std::string place = "line " + std::to_string(mRows + 2);
    if (cells.size() != mNames.size())
        Fail(place + " has not as many values as the first line has names");
    for (size_t i = 0; i < cells.size(); i++) {
        double value = 0;
        if (!ParseDouble(cells[i], value)) Fail(place + " has something else than numbers");
        mColumns[i].push_back(value);
    }
    mRows++;
}

const std::vector<double> &CsvTable::Column(const std::string &name) const {
    auto found = std::find(mNames.begin(), mNames.end(), name);
    if (found == mNames.end()) Fail("has no column " + name);
    return mColumns[(size_t)(found - mNames.begin())];
}

void CsvTable::Fail(const std::string &why) const { throw VideoError(mPath + ": " + why); }
