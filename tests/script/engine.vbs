' The errors of members under their labels, and the arrays of a script: every failure is a line with
' FAILED.
Option Explicit
Dim checks : checks = 0
Sub Check(what, expected, actual)
    checks = checks + 1
    If expected <> actual Or VarType(expected) <> VarType(actual) Then WScript.Echo "FAILED " & what & ": " & TypeName(actual) & " " & actual
End Sub
Dim label
Sub CheckError(member, number, description)
    Check member, number & " " & label & member & ": " & description, Err.Number & " " & Err.Source & ": " & Err.Description
    Err.Clear
End Sub

Dim z, item, support, key, index, bad
Set z = CreateObject("ZSupport.Zollection") : Set item = CreateObject("ZSupport.Zollection")
Set support = CreateObject("ZSupport.GZSupport")
index = "Invalid property array index" : bad = "Invalid procedure call or argument"
z.Add item, "", "k" : z.Add item, , 12, 1 : Check "converted key", True, z.KeyExists("12")
z.Increment = "1600" : Check "converted put", CLng(100), z.Increment

On Error Resume Next
label = "System\ZSupport.Zollection::"
z.CompareMode = 1 : CheckError "Let CompareMode!Zollection.CompareMode (Let)", 387, "Cannot change CompareMode. The collection contains items."
z.Add item, "", "12" : CheckError "Sub Add!Zollection.Add", 457, "This key is already associated with an element of this collection"
z.Remove "nobody" : CheckError "Sub Remove!Zollection.RemoveByKey", 5, bad
Set item = z.Item("nobody") : CheckError "Get Item!Zollection.Item (Get)", 381, index
z.Remove 99 : CheckError "Sub Remove", 381, index
Set item = z.ItemByIndex(-1) : CheckError "Function ItemByIndex!Zollection.ItemByIndex", 381, index
Set item = z.ItemByKey("nobody") : CheckError "Function ItemByKey!Zollection.ItemByIndex", 381, index
z.Key(99) = "x" : CheckError "Let Key!Zollection.Key (LET)", 381, index
key = z.Key(99) : CheckError "Get Key!Zollection.Key (Get)", 381, index
label = "" : z.RemoveByKey "nobody" : CheckError "Zollection.RemoveByKey", 5, bad

Dim names, values, fixed(0), texts : label = "System\ZSupport.GZSupport::"
support.EnsureDirExists "Q:\a" : CheckError "Function EnsureDirExists!ZSupport", 76, "Path not found"
names = Array("", "b") : values = Array(1) : support.AddSVParameter names, values, "a", 7
Check "pair in place", "ab7", names(0) & names(1) & values(0)
fixed(0) = "x" : support.AddSVParameter fixed, values, "y", 8
CheckError "Sub AddSVParameter!ZSupport", 10, "This array is fixed or temporarily locked"
texts = support.StringArray(Array(1, True, "x")) : support.AddSVParameter texts, values, "added", 9
Check "texts taken back", 9, values(3)
texts = support.StringArray2(Array(Null)) : CheckError "Function StringArray2!ZSupport", 94, "Invalid use of Null"
support.IsEqualVariant support, 1 : CheckError "Function IsEqualVariant!ZSupport", 13, "Type mismatch"
Check "date from text", True, support.IsEqualDate("2026-11-21 12:00", DateSerial(2026, 11, 21) + 0.5)
Check "all users' folder", support.GetFolderPath(35), support.GetCommonAppDataPath
label = "" : texts = support.ArrayDescriptor1D(-1) : CheckError "ZSupport", 5, bad
WScript.Echo checks & " checks done"
