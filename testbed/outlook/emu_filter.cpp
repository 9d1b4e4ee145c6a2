#include "testbed/outlook/emu_filter.h"

#include "testbed/outlook/emulator.h"

#include <algorithm>
#include <cwctype>

namespace emu {

using qbx::Variant;

namespace {

[[noreturn]] void badFilter(const std::wstring& filter, size_t at) {
    fail(errors::kInvalidArg, L"Cannot parse condition. Error at \"" + filter.substr(std::min(at, filter.size())) + L"\".");
}

bool sameValue(const Variant& stored, const Variant& wanted) {
    if (wanted.type() == VT_BSTR) return qbx::textEquals(stored.toString(), wanted.toString());
    if (wanted.type() == VT_BOOL) return stored.type() == VT_BOOL && stored.toBool() == wanted.toBool();
    return stored.isNumeric() && stored.toDouble() == wanted.toDouble();
}

}  // namespace

Filter::Filter(const std::wstring& f, const Folder& folder) {
    size_t i = 0;
    auto blanks = [&] {
        while (i < f.size() && iswspace(f[i])) ++i;
    };
    for (;;) {
        blanks();
        Condition c;
        if (i >= f.size() || f[i] != L'[') badFilter(f, i);
        size_t close = f.find(L']', i);
        if (close == std::wstring::npos) badFilter(f, i);
        c.property = f.substr(i + 1, close - i - 1);
        i = close + 1;
        blanks();
        if (f.compare(i, 2, L"<>") == 0) {
            c.notEqual = true;
            i += 2;
        } else if (i < f.size() && f[i] == L'=') {
            ++i;
        } else {
            badFilter(f, i);
        }
        blanks();
        if (i < f.size() && (f[i] == L'\'' || f[i] == L'"')) {
            wchar_t q = f[i++];
            std::wstring text;
            for (;;) {
                if (i >= f.size()) badFilter(f, i);
                if (f[i] == q) {
                    if (i + 1 < f.size() && f[i + 1] == q) {
                        text += q;
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                text += f[i++];
            }
            c.value = Variant(text);
        } else {
            size_t start = i;
            while (i < f.size() && !iswspace(f[i])) ++i;
            std::wstring word = f.substr(start, i - start);
            if (word.empty()) badFilter(f, start);
            if (qbx::textEquals(word, L"True") || qbx::textEquals(word, L"False"))
                c.value = Variant(qbx::textEquals(word, L"True"));
            else if (Variant(word).isNumeric())
                c.value = Variant(Variant(word).toDouble());
            else
                badFilter(f, start);
        }
        conditions_.push_back(std::move(c));
        blanks();
        if (i >= f.size()) break;
        if (f.size() - i > 3 && qbx::textEquals(f.substr(i, 3), L"and") && iswspace(f[i + 3])) {
            i += 3;
            continue;
        }
        badFilter(f, i);
    }
    static const wchar_t* const builtIn[] = {L"Subject", L"MessageClass", L"Body", L"To", L"CC"};
    for (const auto& c : conditions_) {
        bool known = std::any_of(std::begin(builtIn), std::end(builtIn), [&](const wchar_t* b) { return qbx::textEquals(b, c.property); });
        for (const Item* it : folder.contents)
            for (const auto& p : it->savedProperties) known = known || qbx::textEquals(p.name, c.property);
        if (!known) fail(errors::kInvalidArg, L"The property \"" + c.property + L"\" in the condition is not valid.");
    }
}

bool Filter::matches(const Item& it) const {
    for (const auto& c : conditions_) {
        Variant v;
        bool has = true;
        if (qbx::textEquals(c.property, L"Subject")) v = Variant(it.savedSubject);
        else if (qbx::textEquals(c.property, L"MessageClass")) v = Variant(it.savedClass);
        else if (qbx::textEquals(c.property, L"Body")) v = Variant(it.savedBody);
        else if (qbx::textEquals(c.property, L"To")) v = Variant(it.savedTo);
        else if (qbx::textEquals(c.property, L"CC")) v = Variant(it.cc);
        else {
            has = false;
            for (const auto& p : it.savedProperties)
                if (qbx::textEquals(p.name, c.property)) {
                    v = p.value;
                    has = true;
                }
        }
        bool match = has && sameValue(v, c.value);
        if (c.notEqual) match = has && !match;
        if (!match) return false;
    }
    return true;
}

}  // namespace emu
