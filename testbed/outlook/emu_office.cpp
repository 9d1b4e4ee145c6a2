// Office's command bars (the windows' toolbars) and the ribbon objects the
// emulated Outlook hands to an add-in's ribbon callbacks.
#include "testbed/outlook/emulator.h"

#include <algorithm>
#include <iterator>

namespace emu {

using qbx::Args;
using qbx::Variant;

namespace {

const wchar_t* const kControlGone = L"The control has been deleted.";

std::wstring withoutAccelerator(const std::wstring& s) { return qbx::replaceAll(s, L"&", L""); }

struct BuiltInButton {
    long id;
    const wchar_t* caption;
};

// A few of Outlook's own buttons, so that walks over a bar meet built-in ones.
const BuiltInButton kInspectorStandard[] = {
    {2617, L"&Send"}, {3, L"&Save"}, {4, L"&Print"}, {21, L"Cu&t"}, {19, L"&Copy"}, {22, L"&Paste"}, {1079, L"Insert F&ile..."}};
const BuiltInButton kInspectorFormatting[] = {{113, L"&Bold"}, {114, L"&Italic"}, {115, L"&Underline"}};
const BuiltInButton kExplorerStandard[] = {{1, L"&New"}, {4, L"&Print"}, {478, L"&Delete"}, {354, L"&Reply"}};
const BuiltInButton kMenuBar[] = {{30002, L"&File"}, {30003, L"&Edit"}, {30004, L"&View"}};

// A control matches the FindControl criteria given (omitted ones match all).
bool matches(CommandBarButton* b, Args& a, size_t first) {
    if (b->deleted) return false;
    if (a.has(first) && a.i32(first) != b->type) return false;
    if (a.has(first + 1) && a.i32(first + 1) != b->id) return false;
    if (a.has(first + 2) && a.str(first + 2) != b->tag) return false;
    if (a.has(first + 3) && a.boolean(first + 3) && !b->visible) return false;
    return true;
}

}  // namespace

// ---------------------------------------------------------------- CommandBars

CommandBars::CommandBars(Outlook& o, Object* w) : Object(o, L"CommandBars"), window(w) {
    bool inspector = dynamic_cast<Inspector*>(w) != nullptr;
    auto addBar = [&](const wchar_t* name, const BuiltInButton* buttons, size_t n) {
        CommandBar* bar = o.make<CommandBar>(*this, name);
        for (size_t i = 0; i < n; ++i) {
            CommandBarButton* b = bar->controls->add(1, buttons[i].id, false, 0, true);
            b->caption = buttons[i].caption;
        }
        list.push_back(bar);
        return bar;
    };
    addBar(L"Menu Bar", kMenuBar, std::size(kMenuBar));
    if (inspector) {
        CommandBar* standard = addBar(L"Standard", kInspectorStandard, std::size(kInspectorStandard));
        addBar(L"Formatting", kInspectorFormatting, std::size(kInspectorFormatting));
        // Custom buttons that were not temporary come back in every new window,
        // as Office keeps them with the toolbar.
        for (CommandBarButton* kept : o.keptButtons) {
            CommandBarButton* b = standard->controls->add(kept->type, kept->id, false, 0, false);
            b->caption = kept->caption;
            b->tag = kept->tag;
            b->tooltipText = kept->tooltipText;
            b->style = kept->style;
            b->faceId = kept->faceId;
            b->width = kept->width;
            b->visible = kept->visible;
        }
    } else {
        addBar(L"Standard", kExplorerStandard, std::size(kExplorerStandard));
        addBar(L"Advanced", nullptr, 0);
    }
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return window->var(); });
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    DISPID item = method(L"Item", [this](Args& a) {
        IndexArg i = indexArg(a, 0);
        if (i.byName) {
            CommandBar* bar = find(i.name);
            if (!bar) fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall));
            return bar->var();
        }
        if (i.index < 1 || i.index > static_cast<long>(list.size())) fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall));
        return list[static_cast<size_t>(i.index - 1)]->var();
    });
    setDefault(item);
    property(L"ActiveMenuBar", [this](Args&) { return list.front()->var(); });
    // FindControl([Type], [Id], [Tag], [Visible]): the first match or Nothing.
    method(L"FindControl", [this](Args& a) {
        for (CommandBar* bar : list)
            for (CommandBarButton* b : bar->controls->list)
                if (matches(b, a, 0)) return b->var();
        return Variant::nothing();
    });
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->var(); });
}

CommandBar* CommandBars::find(const std::wstring& name) const {
    for (CommandBar* b : list)
        if (qbx::textEquals(b->name, name)) return b;
    return nullptr;
}

void CommandBars::destroy() {
    Outlook& o = ol();
    for (CommandBar* bar : list) {
        for (CommandBarButton* b : std::vector<CommandBarButton*>(bar->controls->list)) {
            if (!b->temporary && !b->builtIn && bar->name == L"Standard" && dynamic_cast<Inspector*>(window)) {
                bool known = std::any_of(o.keptButtons.begin(), o.keptButtons.end(), [&](CommandBarButton* k) {
                    return k->tag == b->tag && k->caption == b->caption;
                });
                if (!known) o.keptButtons.push_back(b);
            }
            b->remove();
        }
        bar->kill(errors::kDeleted, kControlGone);
        bar->controls->kill(errors::kDeleted, kControlGone);
    }
    kill(errors::kDeleted, kControlGone);
}

// ---------------------------------------------------------------- CommandBar

CommandBar::CommandBar(Outlook& o, CommandBars& bars, std::wstring barName)
    : Object(o, L"CommandBar"), owner(bars), name(std::move(barName)) {
    controls = o.make<CommandBarControls>(*this);
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return owner.var(); });
    DISPID nameId = property(L"Name", [this](Args&) { return Variant(name); });
    setDefault(nameId);
    property(L"NameLocal", [this](Args&) { return Variant(name); });
    property(L"BuiltIn", [](Args&) { return Variant(true); });
    property(L"Type", [this](Args&) { return Variant(name == L"Menu Bar" ? 1L : 0L); });
    property(L"Index", [this](Args&) {
        auto& l = owner.list;
        return Variant(static_cast<long>(std::find(l.begin(), l.end(), this) - l.begin()) + 1);
    });
    property(L"Visible", [this](Args&) { return Variant(visible); },
             [this](Args&, const Variant& v) { visible = v.toBool(); });
    property(L"Controls", [this](Args&) { return controls->var(); });
    method(L"FindControl", [this](Args& a) {
        for (CommandBarButton* b : controls->list)
            if (matches(b, a, 0)) return b->var();
        return Variant::nothing();
    });
    method(L"Delete", [](Args&) -> Variant { fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall)); });
}

// ---------------------------------------------------------------- CommandBarControls

CommandBarControls::CommandBarControls(Outlook& o, CommandBar& b) : Object(o, L"CommandBarControls"), bar(b) {
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return bar.var(); });
    property(L"Count", [this](Args&) { return Variant(static_cast<long>(list.size())); });
    // Item(index) or Item(caption).
    DISPID item = method(L"Item", [this](Args& a) {
        IndexArg i = indexArg(a, 0);
        if (i.byName) {
            for (CommandBarButton* c : list)
                if (qbx::textEquals(withoutAccelerator(c->caption), withoutAccelerator(i.name))) return c->var();
            fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall));
        }
        if (i.index < 1 || i.index > static_cast<long>(list.size())) fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall));
        return list[static_cast<size_t>(i.index - 1)]->var();
    });
    setDefault(item);
    // Add([Type], [Id], [Parameter], [Before], [Temporary]).
    method(L"Add", [this](Args& a) {
        long type = a.has(0) ? a.i32(0) : 1;
        long id = a.has(1) ? a.i32(1) : 1;
        long before = a.has(3) ? a.i32(3) : 0;
        bool temporary = a.has(4) ? a.boolean(4) : false;
        if (type != 1) fail(qbx::vbErrInvalidCall, L"The test bed's command bars take buttons (type 1) only.");
        if (before < 0 || before > static_cast<long>(list.size()) + 1)
            fail(qbx::vbErrInvalidCall, qbx::vbErrorText(qbx::vbErrInvalidCall));
        CommandBarButton* b = add(type, id, temporary, before, id > 1);
        if (a.has(2)) b->parameter = a.str(2);
        return b->var();
    });
    liveEnumerator([this] { return static_cast<long>(list.size()); },
                   [this](long i) { return list[static_cast<size_t>(i - 1)]->var(); });
}

CommandBarButton* CommandBarControls::add(long type, long id, bool temporary, long before, bool builtIn) {
    CommandBarButton* b = ol().make<CommandBarButton>(*this, type, id, temporary, builtIn);
    if (before >= 1 && before <= static_cast<long>(list.size()))
        list.insert(list.begin() + (before - 1), b);
    else
        list.push_back(b);
    ol().registerButton(b);
    return b;
}

// ---------------------------------------------------------------- CommandBarButton

CommandBarButton::CommandBarButton(Outlook& o, CommandBarControls& controls, long t, long i, bool temp, bool builtInButton)
    : Object(o, L"CommandBarButton"), owner(&controls), type(t), id(i), temporary(temp), builtIn(builtInButton) {
    sources(qbx::DIID_CommandBarButtonEvents);
    // Every assignment is recorded, in order.
    auto text = [this](const wchar_t* name, std::wstring CommandBarButton::*field) {
        property(name, [this, field](Args&) { return Variant(this->*field); },
                 [this, name, field](Args&, const Variant& v) {
                     this->*field = v.toString();
                     setOrder.push_back(std::wstring(name) + L"=" + this->*field);
                 });
    };
    auto number = [this](const wchar_t* name, long CommandBarButton::*field) {
        property(name, [this, field](Args&) { return Variant(this->*field); },
                 [this, name, field](Args&, const Variant& v) {
                     this->*field = v.toLong();
                     setOrder.push_back(std::wstring(name) + L"=" + std::to_wstring(this->*field));
                 });
    };
    auto flag = [this](const wchar_t* name, bool CommandBarButton::*field) {
        property(name, [this, field](Args&) { return Variant(this->*field); },
                 [this, name, field](Args&, const Variant& v) {
                     this->*field = v.toBool();
                     setOrder.push_back(std::wstring(name) + L"=" + (this->*field ? L"True" : L"False"));
                 });
    };
    property(L"Application", [this](Args&) { return ol().app()->var(); });
    property(L"Parent", [this](Args&) { return owner->bar.var(); });
    property(L"BuiltIn", [this](Args&) { return Variant(builtIn); });
    property(L"Id", [this](Args&) { return Variant(id); });
    property(L"Type", [this](Args&) { return Variant(type); });
    property(L"Index", [this](Args&) {
        auto& l = owner->list;
        return Variant(static_cast<long>(std::find(l.begin(), l.end(), this) - l.begin()) + 1);
    });
    text(L"Caption", &CommandBarButton::caption);
    text(L"Tag", &CommandBarButton::tag);
    text(L"TooltipText", &CommandBarButton::tooltipText);
    text(L"Parameter", &CommandBarButton::parameter);
    text(L"OnAction", &CommandBarButton::onAction);
    number(L"Style", &CommandBarButton::style);
    number(L"FaceId", &CommandBarButton::faceId);
    number(L"Width", &CommandBarButton::width);
    flag(L"Visible", &CommandBarButton::visible);
    flag(L"Enabled", &CommandBarButton::enabled);
    method(L"Delete", [this](Args&) {
        remove();
        return Variant();
    });
    method(L"Execute", [this](Args&) {
        ol().clickButton(this);
        return Variant();
    });
}

void CommandBarButton::remove() {
    if (deleted) return;
    auto& l = owner->list;
    l.erase(std::remove(l.begin(), l.end(), this), l.end());
    deleted = true;
    kill(errors::kFailed, kControlGone);
}

// ---------------------------------------------------------------- ribbon

RibbonUI::RibbonUI(Outlook& o, std::wstring id) : Object(o, L"IRibbonUI"), ribbonId(std::move(id)) {
    answers(qbx::IID_IRibbonUI);
    method(L"Invalidate", [this](Args&) {
        invalidations.push_back(L"Invalidate");
        return Variant();
    }, 1);
    method(L"InvalidateControl", [this](Args& a) {
        invalidations.push_back(L"InvalidateControl " + a.str(0));
        return Variant();
    }, 2);
}

RibbonControl::RibbonControl(Outlook& o, std::wstring controlId, Object* ctx, std::wstring controlTag)
    : Object(o, L"IRibbonControl"), id(std::move(controlId)), tag(std::move(controlTag)), context(ctx) {
    answers(qbx::IID_IRibbonControl);
    property(L"Id", [this](Args&) { return Variant(id); }, nullptr, 1);
    property(L"Context", [this](Args&) { return context ? context->var() : Variant::nothing(); }, nullptr, 2);
    property(L"Tag", [this](Args&) { return Variant(tag); }, nullptr, 3);
}

}  // namespace emu
