// A keyed collection from JScript.
//
// To run it, with ZSupport registered:   cscript //nologo collection.js

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

// Errors arrive as exceptions.
try {
    fleet.Item("Dora");
} catch (error) {
    WScript.Echo("error " + (error.number & 0xFFFF) + ": " + error.description);
}
WScript.Echo("done");
