// SPDX-License-Identifier: MIT
#include "tests/documents/RawPdf.h"

#include <cstdio>

RawPdf::RawPdf() {
    objects[1] = "<< /Type /Catalog /Pages 2 0 R >>";
    objects[2] = "<< /Type /Pages /Kids [ 3 0 R ] /Count 1 >>";
    objects[3] = "<< /Type /Page /Parent 2 0 R /MediaBox [ 0 0 300 200 ] /Contents 4 0 R\n"
                 "   /Resources << /Font << /F1 5 0 R >> >> >>";
    objects[4] = stream("BT /F1 24 Tf 20 100 Td (Written by hand) Tj ET");
    objects[5] = "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>";
}

std::string RawPdf::text() const {
    std::string pdf = "%PDF-1.5\n%\xE2\xE3\xCF\xD3\n";
    std::map<int, std::size_t> offsets;
    for (const auto& [number, object] : objects) {
        offsets[number] = pdf.size();
        pdf += std::to_string(number) + " 0 obj\n" + object + "\nendobj\n";
    }
    const std::size_t start = pdf.size();
    const int count = objects.rbegin()->first + 1;
    const std::string told = std::to_string(size != 0 ? size : count + (hasStream ? 1 : 0));
    if (hasStream) {
        std::string entries(6, '\0');
        offsets[count] = start;
        for (int number = 1; number <= count; ++number) {
            const std::size_t offset = offsets[number];
            entries += offset == 0 ? '\0' : '\1';
            for (const int shift : {24, 16, 8, 0}) {
                entries += static_cast<char>((offset >> shift) & 0xFF);
            }
            entries += '\0';
        }
        pdf += std::to_string(count) + " 0 obj\n<< /Type /XRef /W [ 1 4 1 ] /Index [ 0 "
            + std::to_string(count + 1) + " ] /Size " + told + " " + trailer + " /Length "
            + std::to_string(entries.size()) + " >>\nstream\n" + entries + "\nendstream\nendobj\n";
    } else {
        pdf += beforeTable + "xref\n" + std::to_string(firstNumber) + " " + std::to_string(count)
            + "\n0000000000 65535 f \n";
        for (int number = 1; number < count; ++number) {
            char line[32];
            std::snprintf(line, sizeof line, "%010zu %05d %c \n", offsets[number],
                offsets[number] != 0 ? 0 : 1, offsets[number] != 0 ? 'n' : 'f');
            pdf += line;
        }
        pdf += "trailer\n<< /Size " + told + " " + trailer + " >>\n";
    }
    return before + pdf + "startxref\n" + std::to_string(start) + "\n%%EOF\n" + behind;
}

std::string RawPdf::stream(const std::string& content, long long length) {
    return "<< /Length " + std::to_string(length) + " >>\nstream\n" + content + "\nendstream";
}
