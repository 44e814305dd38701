' What the samples do not show, from a script engine: every failure is a line with FAILED.
Option Explicit
Dim checks : checks = 0
Sub Check(what, expected, actual)
    checks = checks + 1
    If expected <> actual Or VarType(expected) <> VarType(actual) Then WScript.Echo "FAILED " & what & ": " & TypeName(actual) & " " & actual
End Sub
Sub CheckError(what, number, source, description)
    checks = checks + 1
    If Err.Number <> number Or Err.Source <> source Or Err.Description <> description Then WScript.Echo "FAILED " & what & ": " & Err.Number & " " & Err.Source & " " & Err.Description
    Err.Clear
End Sub

Dim z, item, support, noPolicy, mode, key, section
Set z = CreateObject("ZSupport.Zollection") : Set item = CreateObject("ZSupport.Zollection")
Set support = CreateObject("ZSupport.GZSupport") : section = "Software\Zarnow Instruments Ltd.\EngineTest"

support.GetRegistryValue "none", 1, section, noPolicy : Check "policy result", True, noPolicy
Check "default", 7, CInt(support.GetRegistryValue("none", 7))
Check "default kept as it is", Null & "", support.GetRegistryValue("none", Null) & ""
mode = 1 : support.WriteRegistryValue "v", True, False, mode, section
Check "Boolean as number", CLng(-1), support.GetRegistryValue("v", 0, section)
support.WriteRegistryValue "v", False, False, mode

Check "legal path", "C: a b", support.MakeLegalPath("C:*a:|b?")
Check "same computer and user", True, Len(support.GetComputerName()) > 0 And Len(support.GetUserName()) > 0
key = "k" : z.Add item, "", key : z.Add item, , 12, 1 : Check "converted key", True, z.KeyExists("12")
Check "variable left alone", "k", key
Check "position", CLng(1), z.IndexFromKey(12)
Check "exists", True, z.Exists(2.4)
Check "exists not", False, z.Exists(Null)
Check "by key variable", True, z.ItemByKey(key) Is item
z.UseDISPID = True : Check "put and get", True, z.UseDISPID
z.Increment = "1600" : Check "converted put", CLng(100), z.Increment
z.Key(2) = "fresh" : Check "old key gone", False, z.KeyExists("k")

Dim prefix, index, bad, used : prefix = "System\ZSupport.Zollection::" : index = "Invalid property array index"
bad = "Invalid procedure call or argument"
used = "This key is already associated with an element of this collection"
On Error Resume Next
z.CompareMode = 1
CheckError "mode", 387, prefix & "Let CompareMode!Zollection.CompareMode (Let)", "Cannot change CompareMode. The collection contains items."
z.Add item, "", "12" : CheckError "duplicate", 457, prefix & "Sub Add!Zollection.Add", used
z.Add item, "", "", 99 : CheckError "place", 5, prefix & "Sub Add!Zollection.Add", bad
z.Add support : CheckError "no events", 7, prefix & "Sub Add!Zollection.Add", "Out of memory"
z.Remove "nobody" : CheckError "remove", 5, prefix & "Sub Remove!Zollection.RemoveByKey", bad
z.RemoveByKey "nobody" : CheckError "remove by key", 5, "Zollection.RemoveByKey", bad
Set item = z.Item("nobody") : CheckError "item", 381, prefix & "Get Item!Zollection.Item (Get)", index
z.Remove 99 : CheckError "remove by position", 381, prefix & "Sub Remove", index
z.RemoveByIndex 0 : CheckError "remove by index", 381, prefix & "Sub RemoveByIndex!Zollection.RemoveByIndex", index
Set item = z.ItemByIndex(-1)
CheckError "item by index", 381, prefix & "Function ItemByIndex!Zollection.ItemByIndex", index
Set item = z.ItemByKey("nobody")
CheckError "item by key", 381, prefix & "Function ItemByKey!Zollection.ItemByIndex", index
z.Key(99) = "x" : CheckError "put key", 381, prefix & "Let Key!Zollection.Key (LET)", index
z.Key(2) = "12" : CheckError "put used key", 457, prefix & "Let Key!Zollection.Key (LET)", used
key = z.Key(99) : CheckError "key", 381, prefix & "Get Key!Zollection.Key (Get)", index
z.Add : Check "count of arguments", 450, CInt(Err.Number) : Err.Clear
z.RemoveByIndex "word" : Check "type", 13, CInt(Err.Number) : Err.Clear
z.NoSuchMember : Check "member", 438, CInt(Err.Number) : Err.Clear

Dim names, values, fixed(0), texts, bounds, dir, gz : gz = "System\ZSupport.GZSupport::"
Check "sibling folders", support.GetFolderPath(26), support.GetAppDataPath
Check "documents", support.GetFolderPath(5), support.GetMyDocumentsPath
Check "no such folder", "", support.GetFolderPath(4711, "x")
dir = support.GetTempPath & "engine\a" : Check "folders made", True, support.EnsureDirExists(dir)
texts = support.GetTempFileName2(dir) : Check "file", dir, Left(texts, Len(dir))
CreateObject("Scripting.FileSystemObject").DeleteFile texts
support.EnsureDirExists "Q:\a" : CheckError "no drive", 76, gz & "Function EnsureDirExists!ZSupport", "Path not found"
Check "numbers of any type", "1,2,3", support.JoinLongs(Array(1, 2.4, "3"))
support.JoinLongs Array("one") : Check "no number", 13, CInt(Err.Number) : Err.Clear
names = Array("", "b") : values = Array(1) : support.AddSVParameter names, values, "a", 7
Check "pair in place", "ab7", names(0) & names(1) & values(0)
fixed(0) = "x" : support.AddSVParameter fixed, values, "y", 8
CheckError "fixed array", 10, gz & "Sub AddSVParameter!ZSupport", "This array is fixed or temporarily locked"
Check "not grown", CLng(0), UBound(values)
texts = support.StringArray(Array(1, True, "x")) : support.AddSVParameter texts, values, "added", 9
Check "texts taken back", 9, values(3)
texts = support.StringArray2(Array(Null))
CheckError "null to text", 94, gz & "Function StringArray2!ZSupport", "Invalid use of Null"
support.IsEqualVariant support, 1 : CheckError "no value", 13, gz & "Function IsEqualVariant!ZSupport", "Type mismatch"
Check "date from text", True, support.IsEqualDate("2026-11-21 12:00", DateSerial(2026, 11, 21) + 0.5)
Check "spans", CDbl(0.5), support.DateMultiple(1, 2)
Check "helper", True, support.VBoost Is support.VBoost
bounds = support.ArrayBounds(0, bounds) : CheckError "address", 5, "ZSupport", bad
texts = support.ArrayDescriptor1D(-1) : CheckError "other address", 5, "ZSupport", bad
texts = support.GetProductInfo("x", "y") : Check "product", True, Err.Number <> 0 : Err.Clear
texts = support.GetProductSummaryInfo("x", 2) : Check "summary", True, Err.Number <> 0 : Err.Clear
On Error GoTo 0
Dim nobody, system : nobody = "{00000000-1111-2222-3333-444444444444}"
support.CenterWindow 0 : system = support.OSVersion : system = support.BoundingBox(0)
Check "long name", "C:\windows" & Chr(0), support.GetLongPathName("C:\windows")
Check "all users' folder", support.GetFolderPath(35), support.GetCommonAppDataPath
Check "no product", "", support.GetComponentProductID(nobody)
Check "not located", "", support.GetComponentLocation2(nobody, "", 1)
Check "no tag", CLng(0), support.GetTaggedWindow2("nobody")
support.SendData 0, "text", 0 : Check "nothing running", True, support.GetROTObject("No.SuchClass") Is Nothing
WScript.Echo checks & " checks done"
