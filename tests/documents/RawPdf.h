// SPDX-License-Identifier: MIT
// PDFs written by hand, as programs write them that keep few of the rules.
#pragma once

#include <map>
#include <string>

struct RawPdf {
    /// The texts of the objects, by number: a catalog, a page tree, a page with a text, a font.
    std::map<int, std::string> objects;
    std::string trailer = "/Root 1 0 R";
    std::string before; // the header
    std::string beforeTable;
    std::string behind; // the end mark
    int firstNumber = 0; // as the table tells it
    int size = 0; // as the trailer tells it; 0: the right one
    bool hasStream = false; // instead of the table

    RawPdf();
    std::string text() const;

    static std::string stream(const std::string& content, long long length);
    static std::string stream(const std::string& content) {
        return stream(content, static_cast<long long>(content.size()));
    }
};
