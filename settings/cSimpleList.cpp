#include "settings/cSimpleList.h"

#include "settings/cListControl.h"
#include "support/modErroHandling.h"
#include "support/modScriptingDic.h"

#include <cstdint>

namespace {

const std::wstring kCrLf = L"\r\n";

// The run-time's random generator: the 24-bit linear congruential sequence
// of Visual Basic's Rnd, with its start value and no reseeding here.
float fncRnd() {
    static std::uint32_t seed = 0x50000;
    seed = (seed * 0x43FD43FDu + 0xC39EC3u) & 0xFFFFFFu;
    return static_cast<float>(seed) / 16777216.0f;
}


}  // namespace

cSimpleList::cSimpleList() { subNewDictionary(); }

cSimpleList::~cSimpleList() { dicList.reset(); }

void cSimpleList::subNewDictionary() { dicList = fncCreateDic(); }

std::vector<qbx::Variant> cSimpleList::fncItemValues() const { return qbx::elementsOf(dicList.get(L"Items")); }

void cSimpleList::subAddIfMissing(const qbx::Variant& value) {
    if (!dicList.get(L"Exists", value).toBool()) dicList.call(L"Add", value, value);
}

long cSimpleList::Count() const { return dicList.get(L"Count").toLong(); }

bool cSimpleList::Exists(const std::wstring& item) const { return dicList.get(L"Exists", item).toBool(); }

bool cSimpleList::Add(const qbx::Variant& item) {
    if (dicList.get(L"Exists", item).toBool()) return false;
    dicList.call(L"Add", item, item);
    return true;
}

std::vector<std::wstring> cSimpleList::Items() const {
    std::vector<std::wstring> out;
    for (const qbx::Variant& v : fncItemValues()) out.push_back(v.toString());
    return out;
}

std::wstring cSimpleList::ToString() const {
    std::vector<std::wstring> parts = Items();
    if (parts.empty()) parts.emplace_back();  // one element for the empty list
    std::wstring joined;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i) joined += kCrLf;
        joined += parts[i];
    }
    return qbx::trimSpaces(joined);
}

void cSimpleList::FromString(const std::wstring& text) {
    subSetAction(L"Reading the list from its stored text");
    qbx::guarded(L"FromString", [&] {
        subNewDictionary();
        if (text.empty()) return;
        for (const std::wstring& piece : qbx::split(text, kCrLf))
            if (!piece.empty()) subAddIfMissing(qbx::Variant(piece));
    });
}

void cSimpleList::AddToComboOrList(cListControl& control, std::wstring& textToSelect) {
    const std::wstring shown = control.Text();
    {
        // One redraw for the whole fill, not one per entry (a long list
        // otherwise repaints its box thousands of times).
        SendMessageW(control.hWnd(), WM_SETREDRAW, FALSE, 0);
        const auto redraw = qbx::scopeExit([window = control.hWnd()] {
            SendMessageW(window, WM_SETREDRAW, TRUE, 0);
            InvalidateRect(window, nullptr, TRUE);
        });
        control.Clear();
        for (const std::wstring& item : Items())
            if (!qbx::trimSpaces(item).empty()) control.AddItem(item);
    }
    // The text the control showed before wins over the caller's choice.
    if (!shown.empty()) textToSelect = shown;
    if (textToSelect.empty()) return;  // no selection

    qbx::Err err;
    err.resume([&] { control.setText(textToSelect); });
    if (!shown.empty()) err.resume([&] { control.setText(shown); });
    if (err.number() != 0) {
        // The control refused the text: select the entry spelt exactly so.
        // The search runs one index past the last entry, which reads as empty
        // text and so never matches.
        err.clear();
        err.resume([&] {
            for (long i = 0; i <= control.ListCount(); ++i) {
                if (control.List(i) == textToSelect) {
                    control.setListIndex(i);
                    break;
                }
            }
        });
        err.clear();
    }
}

qbx::Variant cSimpleList::RandomItem() const {
    std::vector<qbx::Variant> items = fncItemValues();
    const long count = static_cast<long>(items.size());
    long position = static_cast<long>(fncRnd() * static_cast<float>(count));
    if (position < 0 || position >= count) qbx::raiseVb(qbx::vbErrSubscript);
    return items[static_cast<size_t>(position)];
}

void cSimpleList::FromRS(qbx::Disp& recordSet) {
    subNewDictionary();
    if (!recordSet) return;
    while (!recordSet.get(L"EOF").toBool()) {
        subAddIfMissing(recordSet.getObj(L"Fields").item(0L).get(L"Value"));
        recordSet.call(L"MoveNext");
    }
}

void cSimpleList::FromArray(const qbx::Variant& values) {
    subNewDictionary();
    for (const qbx::Variant& v : qbx::elementsOf(values)) subAddIfMissing(v);
}

void cSimpleList::FromComboOrList(cListControl& control) {
    subNewDictionary();
    for (long i = 0, n = control.ListCount(); i < n; ++i) subAddIfMissing(qbx::Variant(control.List(i)));
}

qbx::Variant cSimpleList::ToArray() const {
    std::vector<std::wstring> items = Items();
    // The rows run from 0 to count - 1: an empty list has no valid bounds.
    if (items.empty()) qbx::raiseVb(qbx::vbErrSubscript);
    SAFEARRAYBOUND bounds[2];
    bounds[0].cElements = static_cast<ULONG>(items.size());  // rows
    bounds[0].lLbound = 0;
    bounds[1].cElements = 1;  // one column
    bounds[1].lLbound = 0;
    SAFEARRAY* raw = SafeArrayCreate(VT_BSTR, 2, bounds);
    if (!raw) qbx::raiseVb(qbx::vbErrOutOfMemory);
    qbx::SafeArray array(raw);
    {
        qbx::ArrayData<BSTR> cells(raw);
        // With one column, storage order is row order.
        for (size_t r = 0; r < items.size(); ++r)
            cells[r] = SysAllocStringLen(items[r].data(), static_cast<UINT>(items[r].size()));
    }
    return std::move(array).toVariant(VT_BSTR);
}

void cSimpleList::ToRS(qbx::Disp& recordSet) {
    // What the record set's first field holds now.
    cSimpleList held;
    if (recordSet.get(L"RecordCount").toLong() > 0) {
        recordSet.call(L"MoveFirst");
        held.FromRS(recordSet);
    }
    for (const qbx::Variant& item : fncItemValues()) {
        if (held.dicList.get(L"Exists", item).toBool()) continue;
        recordSet.call(L"AddNew");
        recordSet.getObj(L"Fields").item(0L).put(L"Value", item);
        recordSet.call(L"Update");
    }
    if (recordSet.get(L"RecordCount").toLong() > Count()) {
        const std::wstring field = recordSet.getObj(L"Fields").item(0L).get(L"Name").toString();
        for (const qbx::Variant& value : held.fncItemValues()) {
            if (dicList.get(L"Exists", value).toBool()) continue;
            recordSet.call(L"MoveFirst");
            // The criterion is not escaped: a quote in the value makes Find fail.
            recordSet.call(L"Find", field + L" = '" + value.toString() + L"'");
            if (!recordSet.get(L"EOF").toBool()) recordSet.call(L"Delete");
        }
    }
}
