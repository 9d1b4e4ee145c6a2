// The chooser in all sixteen languages: each control shows its own phrase, and
// the captions of buttons, check boxes, frames and labels fit their controls,
// measured with the dialog's own font.
#include <doctest/doctest.h>

#include "attachments/frmChooseSite.h"
#include "host/modGlobals.h"
#include "settings/cPersonalSettings.h"
#include "support/modLanguage.h"
#include "support/phrases.h"
#include "tests/attachments/test_chooser_util.h"
#include "tests/test_support.h"

#include <algorithm>
#include <climits>
#include <memory>

using namespace choosertest;

namespace {

const wchar_t* const kLanguages[16] = {L"Czech",      L"Danish",  L"Dutch",      L"English", L"Finnish", L"French",
                                       L"German",     L"Greek",   L"Italian",    L"Norwegian", L"Portuguese",
                                       L"Slovenian",  L"Spanish", L"Swedish",    L"Turkish", L"Russian"};

enum class Kind { Button, CheckBox, Frame, Label };

struct Captioned {
    int id;
    const wchar_t* name;
    Kind kind;
    const std::wstring* phrase;
};

// What a control draws beside its caption, in pixels: a push button's edges
// and padding, a check box's box and gap, a frame's indent on both sides.
int fncDecoration(Kind kind) {
    switch (kind) {
        case Kind::Button: return 10;
        case Kind::CheckBox: return GetSystemMetrics(SM_CXMENUCHECK) + 6;
        case Kind::Frame: return 20;
        case Kind::Label: return 0;
    }
    return 0;
}

int fncCaptionWidth(HWND control, const std::wstring& caption) {
    HDC dc = GetDC(control);
    HGDIOBJ old = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
    SIZE size{};
    GetTextExtentPoint32W(dc, caption.c_str(), static_cast<int>(caption.size()), &size);
    SelectObject(dc, old);
    ReleaseDC(control, dc);
    return size.cx;
}

}  // namespace

TEST_CASE("chooser layout: the dialog uses MS Shell Dlg 8") {
    qbxtest::resetAddinState();
    subSetPhrases(4);
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    frmChooseSite form;
    REQUIRE(form.Load());
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(form.hWnd(), WM_GETFONT, 0, 0)), sizeof font, &font);
    CHECK(std::wstring(font.lfFaceName) == L"MS Shell Dlg");
    HDC screen = GetDC(nullptr);
    CHECK(font.lfHeight == -MulDiv(8, GetDeviceCaps(screen, LOGPIXELSY), 72));
    ReleaseDC(nullptr, screen);
    form.Unload();
    objPersonalSettings.reset();
}

TEST_CASE("chooser layout: every caption is its control's phrase and fits it, in all sixteen languages") {
    qbxtest::resetAddinState();
    objPersonalSettings = std::make_shared<cPersonalSettings>();
    const Captioned controls[] = {
        {IDOK, L"cmdOK", Kind::Button, &LNGOK},
        {IDCANCEL, L"cmdCancel", Kind::Button, &LNGCANCEL},
        {IDC_CHKDEFAULT, L"chkDefault", Kind::CheckBox, &LNGDEFAULT},
        {IDC_CHKADD, L"chkAdd", Kind::CheckBox, &LNGADD},
        {IDC_FRAPREDEFINED, L"fraPredefined", Kind::Frame, &LNGPREDEFINED},
        {IDC_FRANEWSITE, L"fraNewSite", Kind::Frame, &LNGNEW},
        {IDC_LBLSITE, L"lblSite", Kind::Label, &LNGSITES},
        {IDC_LBLFILENAME, L"lblFileName", Kind::Label, &LNGFILENAME},
    };
    // The least room left over per control, and in which language.
    int leastSlack[std::size(controls)];
    std::fill(std::begin(leastSlack), std::end(leastSlack), INT_MAX);
    std::wstring tightest[std::size(controls)];

    for (short column = 1; column <= 16; ++column) {
        CAPTURE(qbxtest::narrow(kLanguages[column - 1]));
        subSetPhrases(column);
        frmChooseSite form;
        REQUIRE(form.Load());
        CHECK(text(form.hWnd()) == LNGCHOOSE);
        for (size_t i = 0; i < std::size(controls); ++i) {
            const Captioned& c = controls[i];
            CAPTURE(qbxtest::narrow(c.name));
            HWND control = form.control(c.id);
            const std::wstring caption = text(control);
            CHECK_FALSE(caption.empty());
            CHECK(caption == *c.phrase);
            RECT client{};
            GetClientRect(control, &client);
            const int needed = fncCaptionWidth(control, caption) + fncDecoration(c.kind);
            CHECK(needed <= client.right);
            if (client.right - needed < leastSlack[i]) {
                leastSlack[i] = client.right - needed;
                tightest[i] = kLanguages[column - 1];
            }
        }
        form.Unload();
    }
    for (size_t i = 0; i < std::size(controls); ++i)
        MESSAGE(qbxtest::narrow(controls[i].name) << ": least room left " << leastSlack[i] << " px ("
                                                  << qbxtest::narrow(tightest[i]) << ")");
    subSetPhrases(4);
    objPersonalSettings.reset();
}
