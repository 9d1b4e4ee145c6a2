// An insertion-ordered set of strings whose uniqueness ignores letter case
// (the first spelling added is kept), held in a "Scripting.Dictionary" from
// fncCreateDic with key = item. Its string form, the items joined by CR LF
// with the blanks at both ends removed, is the stored form of the document
// library list; it must not change.
//
// Every From... operation replaces the whole content with a new dictionary.
// Errors of the dictionary, the controls and the record sets reach the
// caller, except in FromString (reported, the list keeps what was read) and
// in the selection step of AddToComboOrList (ignored).
#pragma once

#include "support/com.h"

#include <string>
#include <vector>

class cListControl;

class cSimpleList {
public:
    cSimpleList();   // a new, empty dictionary
    ~cSimpleList();  // releases it
    cSimpleList(const cSimpleList&) = delete;
    cSimpleList& operator=(const cSimpleList&) = delete;

    // The items joined by CR LF, leading and trailing spaces removed; the
    // empty list gives "".
    std::wstring ToString() const;
    // Replaces the list by the non-empty pieces of the text split on CR LF,
    // untrimmed, each one once.
    void FromString(const std::wstring& text);
    // Fills a combo or list box with the items whose trimmed text is not
    // empty, then selects textToSelect; when the control showed a text before,
    // that text wins and is written back into textToSelect.
    void AddToComboOrList(cListControl& control, std::wstring& textToSelect);
    // One item at a uniformly drawn position (raises when the list is empty).
    // Kept on purpose: part of the list's member set; the add-in does not call it.
    qbx::Variant RandomItem() const;
    // Replaces the list by the first field's values of the record set, read
    // from its current record to its end; nothing held leaves the list empty.
    void FromRS(qbx::Disp& recordSet);
    // Replaces the list by the elements of an array (any number of
    // dimensions, in storage order), empty strings included.
    void FromArray(const qbx::Variant& values);
    // Replaces the list by the entries of a combo or list box.
    // Kept on purpose: part of the list's member set; the add-in does not call it.
    void FromComboOrList(cListControl& control);
    // A rows x 1 array of strings (both bounds from 0), one row per item, as a
    // one-column sheet range takes it. Raises 9 for the empty list.
    qbx::Variant ToArray() const;
    // Makes the record set's first field hold exactly the list's items:
    // missing ones are added, extra ones deleted through Find.
    // Kept on purpose: part of the list's member set; the add-in does not call it.
    void ToRS(qbx::Disp& recordSet);

    // Conveniences for the list's users.
    long Count() const;
    bool Exists(const std::wstring& item) const;
    // Adds the item (as key and value) unless it is already present; true when added.
    bool Add(const qbx::Variant& item);
    std::vector<std::wstring> Items() const;

    // The dictionary itself.
    qbx::Disp dicList;

private:
    void subNewDictionary();
    void subAddIfMissing(const qbx::Variant& value);
    std::vector<qbx::Variant> fncItemValues() const;
};
