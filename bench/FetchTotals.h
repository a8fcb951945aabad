// What the fetch benchmarks' sides add up: one row in the consumer's native
// forms, and totals over those rows, so that the work cannot be skipped and
// two sides can be compared. Plain types only, for the raw ODBC side too.
#pragma once

#include <cstddef>

namespace benchsupport {

// One row in the consumer's native forms (wide text of wchar_t).
struct Values {
    long id;
    double amount;
    const wchar_t* name;
    size_t nameChars;
    int year, month, day, hour, minute, second;
    unsigned long fraction;
};

// What a side adds up, so that the work cannot be skipped and both sides can
// be compared.
struct Totals {
    unsigned long long ids = 0, chars = 0, stamps = 0, rows = 0;
    double amounts = 0;

    void Add(const Values& v) {
        ++rows;
        ids += static_cast<unsigned long long>(v.id);
        amounts += v.amount;
        chars += v.nameChars;
        for (size_t i = 0; i < v.nameChars; ++i)
            chars += static_cast<unsigned long long>(v.name[i]) * (i + 1);
        stamps += v.year * 10000000000ULL + v.month * 100000000ULL + v.day * 1000000ULL +
                  v.hour * 10000ULL + v.minute * 100ULL + v.second + v.fraction;
    }
    bool operator==(const Totals&) const = default;
};

} // namespace benchsupport
