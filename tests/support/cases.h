// Tables of cases as text.
#pragma once

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// The words of cases that are separated by semicolons.
inline std::vector<std::vector<std::string>> cases(std::string const &text) {
    std::vector<std::vector<std::string>> result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line, ';');) {
        std::istringstream words(line);
        result.push_back({std::istream_iterator<std::string>(words), {}});
    }
    return result;
}
