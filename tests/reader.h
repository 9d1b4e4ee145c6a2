// What a screen reader asks of a window, in-process: the accessible object
// oleacc's AccessibleObjectFromWindow hands out, and names of its parts.
#pragma once

#include "support/modAccessibility.h"
#include "support/com.h"

#include <doctest/doctest.h>

#include <string>

namespace readertest {

inline qbx::ComPtr<IAccessible> accessibleOf(HWND window) {
    using Fn = HRESULT(WINAPI*)(HWND, DWORD, REFIID, void**);
    static const auto fromWindow = reinterpret_cast<Fn>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"oleacc.dll"), "AccessibleObjectFromWindow")));
    REQUIRE(reinterpret_cast<void*>(fromWindow) != nullptr);
    qbx::ComPtr<IAccessible> object;
    REQUIRE(SUCCEEDED(fromWindow(window, static_cast<DWORD>(OBJID_CLIENT), kIID_IAccessible,
                                 reinterpret_cast<void**>(object.put()))));
    REQUIRE(object);
    return object;
}

inline VARIANT child(long id) {
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_I4;
    v.lVal = id;
    return v;
}

inline std::wstring nameOf(IAccessible* a, long id = CHILDID_SELF) {
    qbx::Bstr name;
    if (a->get_accName(child(id), name.put()) != S_OK) return L"<none>";
    return name.str();
}
}  // namespace readertest
