#include "support/com/error.h"

#include <new>

namespace qbx {

namespace {

// Visual Basic's own texts for the numbers the add-in raises or meets.
struct VbText {
    long number;
    const wchar_t* text;
};
const VbText kVbTexts[] = {
    {vbErrInvalidCall, L"Invalid procedure call or argument"},
    {vbErrOverflow, L"Overflow"},
    {vbErrOutOfMemory, L"Out of memory"},
    {vbErrSubscript, L"Subscript out of range"},
    {vbErrTypeMismatch, L"Type mismatch"},
    {vbErrInternal, L"Internal error"},
    {vbErrTooManyFiles, L"Too many files"},
    {vbErrPathNotFound, L"Path not found"},
    {vbErrObjectNotSet, L"Object variable or With block variable not set"},
    {vbErrInvalidNull, L"Invalid use of Null"},
    {vbErrResourceNotFound, L"Resource with identifier '|' not found"},
    {vbErrAlreadyLoaded, L"Object already loaded"},
    {vbErrInvalidPropertyValue, L"Invalid property value"},
    {vbErrReadOnly, L"'|' property is read-only"},
    {vbErrObjectRequired, L"Object required"},
    {vbErrCantCreate, L"ActiveX component can't create object"},
    {vbErrNoAutomation, L"Class does not support Automation or does not support expected interface"},
    {vbErrNoMember, L"Object doesn't support this property or method"},
    {vbErrNotOptional, L"Argument not optional"},
    {vbErrArgCount, L"Wrong number of arguments or invalid property assignment"},
    {vbErrNotAnObject, L"Property let procedure not defined and property get procedure did not return an object"},
    {vbErrKeyExists, L"This key is already associated with an element of this collection"},
    {vbErrControlNotFound, L"Control '|' not found"},
    {adErrOpeningFile, L"File could not be opened."},
};

// The HRESULTs that Visual Basic turns into its own error numbers.
struct VbMapping {
    HRESULT hr;
    long number;
};
const VbMapping kVbMappings[] = {
    {DISP_E_UNKNOWNNAME, vbErrNoMember},
    {DISP_E_MEMBERNOTFOUND, vbErrNoMember},
    {DISP_E_TYPEMISMATCH, vbErrTypeMismatch},
    {DISP_E_BADPARAMCOUNT, vbErrArgCount},
    {DISP_E_PARAMNOTOPTIONAL, vbErrNotOptional},
    {DISP_E_OVERFLOW, vbErrOverflow},
    {DISP_E_BADINDEX, vbErrSubscript},
    {E_OUTOFMEMORY, vbErrOutOfMemory},
    {E_INVALIDARG, vbErrInvalidCall},
    {E_NOINTERFACE, vbErrNoAutomation},
    {REGDB_E_CLASSNOTREG, vbErrCantCreate},
    {CO_E_CLASSSTRING, vbErrCantCreate},
};

const VbMapping* mappingOf(HRESULT hr) {
    for (const auto& m : kVbMappings)
        if (m.hr == hr) return &m;
    return nullptr;
}

std::wstring systemMessage(HRESULT hr) {
    wchar_t* buf = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, static_cast<DWORD>(hr), 0, reinterpret_cast<wchar_t*>(&buf), 0,
                             nullptr);
    std::wstring s;
    if (n && buf) s.assign(buf, n);
    LocalFree(buf);
    while (!s.empty() && (s.back() == L'\r' || s.back() == L'\n' || s.back() == L' ')) s.pop_back();
    return s;
}

bool isVbControlError(HRESULT hr) { return (static_cast<unsigned long>(hr) & 0xFFFF0000UL) == 0x800A0000UL; }

}  // namespace

std::wstring vbErrorText(long number, const std::wstring& name) {
    for (const auto& t : kVbTexts) {
        if (t.number != number) continue;
        std::wstring s = t.text;
        const size_t bar = s.find(L'|');
        if (bar != std::wstring::npos) s.replace(bar, 1, name);
        return s;
    }
    return L"Application-defined or object-defined error";
}

void raise(long number, const std::wstring& description, Here where) {
    throw Error(number, description, where.line);
}

void raiseVb(long number, Here where) { throw Error(number, vbErrorText(number), where.line); }

void raiseVb(long number, const std::wstring& name, Here where) {
    throw Error(number, vbErrorText(number, name), where.line);
}

Error caughtError() noexcept {
    try {
        throw;
    } catch (const Error& e) {
        // Copying the texts needs memory; without it the number and line
        // still travel (an empty text allocates nothing).
        try {
            return e;
        } catch (...) {
            return Error(e.number(), std::wstring(), e.line());
        }
    } catch (const std::bad_alloc&) {
        try {
            return Error(vbErrOutOfMemory, vbErrorText(vbErrOutOfMemory), 0);
        } catch (...) {
            return Error(vbErrOutOfMemory, std::wstring(), 0);
        }
    } catch (...) {
        try {
            return Error(vbErrInternal, vbErrorText(vbErrInternal), 0);
        } catch (...) {
            return Error(vbErrInternal, std::wstring(), 0);
        }
    }
}

void raiseWin32(DWORD code, const std::wstring& what, Here where) {
    const HRESULT hr = code == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(code);
    throw Error(static_cast<long>(hr), what, where.line);
}

void raiseLastError(const std::wstring& what, Here where) { raiseWin32(GetLastError(), what, where); }

long vbNumberFor(HRESULT hr) {
    if (const VbMapping* m = mappingOf(hr)) return m->number;
    if (isVbControlError(hr)) return static_cast<long>(hr & 0xFFFF);
    return static_cast<long>(hr);
}

std::wstring vbDescriptionFor(HRESULT hr) {
    if (const VbMapping* m = mappingOf(hr)) return vbErrorText(m->number);
    std::wstring s = systemMessage(hr);
    return s.empty() ? L"Automation error" : L"Automation error\r\n" + s;
}

void raiseHr(HRESULT hr, EXCEPINFO* info, Here where) {
    if (hr == DISP_E_EXCEPTION && info) {
        // The texts may come late (deferred fill-in); they are filled into
        // the caller's EXCEPINFO, copied, and freed here.
        if (info->pfnDeferredFillIn) {
            auto fillIn = info->pfnDeferredFillIn;
            info->pfnDeferredFillIn = nullptr;
            fillIn(info);
        }
        long number = info->wCode ? static_cast<long>(info->wCode)
                                  : (isVbControlError(info->scode) ? static_cast<long>(info->scode & 0xFFFF)
                                                                   : static_cast<long>(info->scode));
        std::wstring text = info->bstrDescription
                                ? std::wstring(info->bstrDescription, SysStringLen(info->bstrDescription))
                                : std::wstring();
        const HRESULT scode = info->scode;
        for (BSTR* owned : {&info->bstrSource, &info->bstrDescription, &info->bstrHelpFile}) {
            SysFreeString(*owned);
            *owned = nullptr;
        }
        if (text.empty()) text = vbDescriptionFor(scode ? scode : E_FAIL);
        throw Error(number, text, where.line);
    }
    throw Error(vbNumberFor(hr), vbDescriptionFor(hr), where.line);
}

}  // namespace qbx
