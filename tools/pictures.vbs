' Fails in several ways through the library, for a log that has something to show.
Option Explicit
Dim boxes, box, support, text, values, fixed(0)
Set boxes = CreateObject("ZSupport.Zollection")
Set box = CreateObject("Shell.Explorer.2")
Set support = CreateObject("ZSupport.GZSupport")
values = Array(1) : fixed(0) = "right"
boxes.Add box, "", "kitchen"
On Error Resume Next
boxes.Add box, "", "kitchen"
text = boxes.Key(2)
boxes.CompareMode = 1
support.EnsureDirExists "Q:\Orders\2026"
support.AddSVParameter fixed, values, "top", 2
text = support.StringArray2(Array(Null))
support.IsEqualVariant support, 1
boxes.Add support, "", "cellar"
boxes.Add box, "{6C2E7E41-1C58-4B43-9D7D-0A3F2A5B7CFF}", "hall"
boxes.Remove 7
WScript.Echo "done"
