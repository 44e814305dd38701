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
boxes.Remove 7
text = boxes.Key(2)
boxes.CompareMode = 1
support.EnsureDirExists "Q:\Orders\2026"
support.AddSVParameter fixed, values, "top", 2
text = support.StringArray2(Array(Null))
support.IsEqualVariant support, 1
boxes.Add support, "", "cellar"
WScript.Echo "done"
