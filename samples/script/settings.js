// Settings with a policy layer from JScript.
//
// To run it, with ZSupport registered:   cscript //nologo settings.js
// (on a 64-bit Windows: %SystemRoot%\SysWOW64\cscript, because the library is 32-bit)
//
// A setting is looked up in the administrator's policy, then with the user, then with the machine;
// last comes the default that the program gives. Policies exist for keys under the company root.
//
// JScript hands over values, never variables: what a member gives back through an argument is lost.
// Here that is whether a policy decided (the fourth argument of GetRegistryValue) and what the user
// answered when asked (the fourth argument of WriteRegistryValue). Results that members return
// arrive as usual, so a script finds out by reading what applies after it has written.
var rwm_User = 1;      // 2 is for all users of the machine, 3 asks the user
var section = "Software\\Zarnow Instruments Ltd.\\Samples\\Settings JScript";

var support = new ActiveXObject("ZSupport.GZSupport");

// The section is remembered by each of the two members from the first call on that gives it.
WScript.Echo("before: " + support.GetRegistryValue("Colour", "red", section));

// Stored for this user, because it differs from the default; true when it is what now applies,
// false when a policy goes before it.
function set(name, value, preset) {
    support.WriteRegistryValue(name, value, preset, rwm_User, section);
    return support.GetRegistryValue(name, preset) === value;
}
WScript.Echo("blue applies: " + set("Colour", "blue", "red"));
WScript.Echo("after: " + support.GetRegistryValue("Colour", "red"));

// Whole numbers and texts keep their types, truth values are stored as numbers.
WScript.Echo("12 applies: " + set("Size", 12, 10));
var size = support.GetRegistryValue("Size", 10);
WScript.Echo("size: " + size + ", a " + typeof size);
support.WriteRegistryValue("Visible", true, false, rwm_User);
WScript.Echo("visible: " + Boolean(support.GetRegistryValue("Visible", false)));

// A setting that is nowhere is what the default says, of whatever type.
WScript.Echo("nothing: " + (support.GetRegistryValue("Shape", null) === null));

// Writing the default removes what is stored: there is nothing left to say.
support.WriteRegistryValue("Colour", "red", "red", rwm_User);
support.WriteRegistryValue("Size", 10, 10, rwm_User);
support.WriteRegistryValue("Visible", false, false, rwm_User);
WScript.Echo("again: " + support.GetRegistryValue("Colour", "red (default)"));
WScript.Echo("done");
