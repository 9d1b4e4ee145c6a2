// Stand-ins for the three generations of the Office Web Components'
// spreadsheet, so the settings grid's choice of component can be played out
// in a test program: "OWC10.Spreadsheet", "OWC11.Spreadsheet" and
// "OWC.Spreadsheet", each Quillbox's own spreadsheet control behind the member
// policy of that generation, plus "Quillbox.Spreadsheet" itself.
//
// They live in the test program only. While a StandIns object lives, each
// component that is present has its class factory registered for the process
// (CoRegisterClassObject, consulted before the registry) under the
// component's real class identifier, and its ProgID's "CLSID" key written
// under HKLM\Software\Classes of the test prefix; both go away with the
// object. An absent component has no ProgID key, so creating it fails as an
// unregistered class does. The shipped DLL registers none of the three.
#pragma once

#include "settings_ui/spreadsheet/sheet_objects_testing.h"

#include <memory>
#include <string>
#include <vector>

namespace owcemu {

enum class Component { Owc10, Owc11, FirstGeneration, Quillbox };

extern const CLSID CLSID_Owc10Spreadsheet;            // {0002E551-0000-0000-C000-000000000046}
extern const CLSID CLSID_Owc11Spreadsheet;            // {0002E559-0000-0000-C000-000000000046}
extern const CLSID CLSID_FirstGenerationSpreadsheet;  // {0002E510-0000-0000-C000-000000000046}

const wchar_t* progId(Component c);
const CLSID& classId(Component c);
const char* name(Component c);  // for test messages

// The names of the newer generations that the grid uses and the first
// generation's stand-in refuses ("Member" or "Object.Member").
const std::vector<std::wstring>& newerOnlyNames();
// What the first generation's stand-in answers: everything the model has
// except the newer-only names.
qbx::sheet::MemberPolicy firstGenerationPolicy();

struct ComponentKnobs {
    // Registered at all. An absent component fails creation as an
    // unregistered class does (the container's error 429). Quillbox's own
    // ProgID may also come from the DLL registered in the prefix, so to make
    // it fail for certain use brokenFactory.
    bool present = true;
    // The class factory refuses CreateInstance with CLASS_E_NOTLICENSED,
    // offers its run-time key through RequestLicKey and creates through
    // CreateInstanceLic with that key only.
    bool demandsLicence = false;
    // The class factory refuses every instance (E_FAIL), as a broken
    // installation would.
    bool brokenFactory = false;
    // Which names the instances answer, and members that fail
    // (policy.fail("Protection.Enabled") ...).
    qbx::sheet::FaultyMemberPolicy policy;
};

struct Knobs {
    Knobs();  // every component present, none asking for a licence, each generation's policy
    ComponentKnobs owc10, owc11, firstGeneration, quillbox;
    ComponentKnobs& operator[](Component c);
    const ComponentKnobs& operator[](Component c) const;
    // Only the named components present (Quillbox's own is left as it is).
    Knobs& only(std::initializer_list<Component> present);
};

// Registers the stand-ins for the process while it lives. Changes to knobs()
// other than "present" apply to instances created afterwards.
class StandIns {
public:
    explicit StandIns(Knobs knobs = {});
    ~StandIns();
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;

    Knobs& knobs() noexcept;

    // Every instance made, in order: which component, whether it came
    // through CreateInstanceLic, and its sheet (to read what was set).
    struct Created {
        Component component;
        bool throughLicence = false;
        std::shared_ptr<qbx::sheet::Sheet> sheet;
    };
    const std::vector<Created>& created() const noexcept;
    // The run-time key a licence-demanding component hands out.
    static std::wstring licenceKey(Component c);

    struct State;

private:
    std::shared_ptr<State> state_;
};

}  // namespace owcemu
