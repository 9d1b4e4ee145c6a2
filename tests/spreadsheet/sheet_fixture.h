// Shared by the spreadsheet tests: a window-less spreadsheet reached
// late-bound, as the settings grid reaches the control, and helpers to build
// arrays and catch the errors a call raises.
#pragma once

#include <doctest/doctest.h>

#include "settings_ui/spreadsheet/sheet_objects.h"
#include "tests/test_support.h"

#include <string>
#include <vector>

namespace sheettest {

using qbx::Disp;
using qbx::Variant;

struct Grid {
    explicit Grid(qbx::sheet::MemberPolicy policy = qbx::sheet::MemberPolicy::product())
        : control(qbx::sheet::Spreadsheet::create(nullptr, std::move(policy))),
          ss(static_cast<IDispatch*>(control.get())),
          ws(ss.getObj(L"ActiveSheet")),
          sheet(*control->sheetPtr()) {}

    Disp range(const std::wstring& address) const { return ws.getObj(L"Range", address); }
    Variant value(const std::wstring& address) const { return range(address).get(L"Value"); }
    std::wstring text(const std::wstring& address) const { return value(address).toString(); }

    qbx::ComPtr<qbx::sheet::Spreadsheet> control;
    Disp ss, ws;
    qbx::sheet::Sheet& sheet;
};

// The error a statement raises (number 0 when it raises none).
template <class F>
qbx::Error errorOf(F&& statement) {
    try {
        statement();
    } catch (const qbx::Error& e) {
        return e;
    }
    return qbx::Error(0, L"", 0);
}

// A 2-D array of the given bounds, element (r, c) = make(r, c), written in
// storage order (the first dimension runs fastest) as Visual Basic lays it out.
template <class F>
Variant array2D(long rows, long columns, long lower, F make) {
    SAFEARRAYBOUND b[2] = {{static_cast<ULONG>(rows), lower}, {static_cast<ULONG>(columns), lower}};
    qbx::SafeArray a(SafeArrayCreate(VT_VARIANT, 2, b));
    VARIANT* data = nullptr;
    SafeArrayAccessData(a.get(), reinterpret_cast<void**>(&data));
    for (long c = 0; c < columns; ++c)
        for (long r = 0; r < rows; ++r) data[c * rows + r] = Variant(make(r, c)).detach();
    SafeArrayUnaccessData(a.get());
    return std::move(a).toVariant(VT_VARIANT);
}

inline Variant array1D(const std::vector<std::wstring>& items, long lower = 0) {
    qbx::SafeArray a = qbx::SafeArray::variants(static_cast<long>(items.size()), lower);
    for (long i = 0; i < static_cast<long>(items.size()); ++i) {
        LONG index = lower + i;
        Variant v(items[static_cast<size_t>(i)]);
        SafeArrayPutElement(a.get(), &index, v.ptr());
    }
    return std::move(a).toVariant(VT_VARIANT);
}

// Element (row, column) of a 2-D array, with the array's own bounds.
inline Variant at(const Variant& array, long row, long column) {
    LONG index[2] = {row, column};
    Variant out;
    SafeArrayGetElement(array.raw().parray, index, out.put());
    return out;
}

}  // namespace sheettest
