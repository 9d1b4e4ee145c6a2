// doctest shows wide strings in its messages as L"..." in UTF-8.
#pragma once

#include "tests/test_support.h"

#include <doctest/doctest.h>

#include <string>

namespace doctest {
template <>
struct StringMaker<std::wstring> {
    static String convert(const std::wstring& value) { return ("L\"" + qbxtest::narrow(value) + "\"").c_str(); }
};
}  // namespace doctest
