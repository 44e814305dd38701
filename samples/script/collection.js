// A keyed collection from JScript.
//
// To run it, with ZSupport registered:   cscript //nologo collection.js
// (on a 64-bit Windows: %SystemRoot%\SysWOW64\cscript, because the library is 32-bit)

var fleet = new ActiveXObject("ZSupport.Zollection");
var names = ["Anna", "Berta", "Clara"];
for (var i = 0; i < names.length; ++i) {
    // item, source interface ("" means the item's own), key
    fleet.Add(new ActiveXObject("ZSupport.Zollection"), "", names[i]);
}
WScript.Echo("ships: " + fleet.Count);

// Binary comparison, the default: another case is another key.
WScript.Echo("Anna: " + fleet.KeyExists("Anna") + ", ANNA: " + fleet.KeyExists("ANNA"));

// The enumerator of the script engine walks the items in order.
var position = 0;
for (var ships = new Enumerator(fleet); !ships.atEnd(); ships.moveNext()) {
    WScript.Echo("  " + (++position) + " " + fleet.Key(position) + ", empty: " + (ships.item().Count == 0));
}

// The default member finds items by key and by position.
WScript.Echo("same object: " + (fleet("Berta") === fleet.Item(2)));

// With CompareMode 1, which can be set only while the collection is empty, case is of no account.
fleet.Clear();
fleet.CompareMode = 1;
fleet.Add(new ActiveXObject("ZSupport.Zollection"), "", "Emma");
WScript.Echo("EMMA: " + fleet.KeyExists("EMMA") + ", kept as " + fleet.Key(1));

// Settings: the policy's value, the user's, the machine's, or the default given here.
var support = new ActiveXObject("ZSupport.GZSupport");
var section = "Software\\Zarnow Instruments Ltd.\\Samples\\JScript";
support.WriteRegistryValue("Colour", "blue", "red", 1, section);
WScript.Echo("colour: " + support.GetRegistryValue("Colour", "red", section));
support.WriteRegistryValue("Colour", "red", "red", 1);
WScript.Echo("again: " + support.GetRegistryValue("Colour", "red (default)"));

// Errors arrive as exceptions.
try {
    fleet.Item("Dora");
} catch (error) {
    WScript.Echo("error " + (error.number & 0xFFFF) + ": " + error.description);
}
WScript.Echo("done");
