// The Office and Outlook interfaces and identifiers the add-in and the test
// bed share: the add-in connection interface, the ribbon interface, and the
// IDs of the Outlook objects and event interfaces.
#pragma once

#include <windows.h>
#include <oaidl.h>

namespace qbx {

// {B65AD801-ABAF-11D0-BB8B-00A0C90F2744}
inline constexpr IID IID_IDTExtensibility2 = {0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};
// {000C0396-0000-0000-C000-000000000046}
inline constexpr IID IID_IRibbonExtensibility = {0x000C0396, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {000C03A7-0000-0000-C000-000000000046}
inline constexpr IID IID_IRibbonUI = {0x000C03A7, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {000C0395-0000-0000-C000-000000000046}
inline constexpr IID IID_IRibbonControl = {0x000C0395, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Outlook's own interfaces: the "cast" of an object to one of these tells a
// real Outlook object from anything else.
inline constexpr IID IID_OutlookApplication = {0x00063001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_OutlookInspector = {0x00063005, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_OutlookMailItem = {0x00063034, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Event interfaces, newest first where Outlook has several.
inline constexpr IID DIID_ApplicationEvents_11 = {0x0006302C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_ApplicationEvents_10 = {0x0006300E, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_ApplicationEvents = {0x0006304E, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_InspectorsEvents = {0x00063079, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_InspectorEvents_10 = {0x0006302A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_InspectorEvents = {0x0006307D, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_ItemEvents_10 = {0x0006302B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_ItemEvents = {0x0006303A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID DIID_CommandBarButtonEvents = {0x000C0351, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Event DISPIDs.
namespace dispid {
inline constexpr DISPID ItemSend = 0xF002;
inline constexpr DISPID NewMail = 0xF003;
inline constexpr DISPID Startup = 0xF006;
inline constexpr DISPID Quit = 0xF007;
inline constexpr DISPID NewInspector = 0xF001;
inline constexpr DISPID InspectorActivate = 0xF001;
inline constexpr DISPID InspectorClose = 0xF008;
inline constexpr DISPID AttachmentAdd = 0xF00B;
inline constexpr DISPID BeforeAttachmentSave = 0xF00D;
inline constexpr DISPID ButtonClick = 1;
}  // namespace dispid

// Outlook enumeration values the add-in passes.
inline constexpr int msoControlButton = 1;
inline constexpr int msoButtonIcon = 1;

}  // namespace qbx

// The add-in connection interface Office calls (a dual interface).
struct IDTExtensibility2 : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, int connectMode, IDispatch* addInInst,
                                                   SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(int removeMode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};

// The ribbon interface (a dual interface).
struct IRibbonExtensibility : public IDispatch {
    virtual HRESULT STDMETHODCALLTYPE GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) = 0;
};
