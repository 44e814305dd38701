' A 64-bit script engine and the 32-bit library, in a process of the platform's.
Option Explicit
Dim z, other, support, nonsense
Set z = CreateObject("ZSupport.Zollection")
Set other = CreateObject("ZSupport.Zollection")
Set support = CreateObject("ZSupport.GZSupport")
z.Add other, "", "key"
If z.Count <> 1 Or Not z.KeyExists("key") Or Not (z.Item("key") Is other) Then WScript.Echo "FAILED collection"
If support.JoinLongs(Array(1, 2, 3)) <> "1,2,3" Then WScript.Echo "FAILED array"
' An error of the collection's own, from which on errors are raised; then an address of nothing.
On Error Resume Next
z.RemoveByIndex 99
If Err.Number <> 381 Then WScript.Echo "FAILED error"
Err.Clear
nonsense = support.ArrayDescriptor(12)
If Err.Number <> 5 Then WScript.Echo "FAILED address"
Err.Clear
' Wine 8 carries no records between processes: an empty one arrives.
nonsense = support.VersionString(support.VersionStamp("1.2.0.5RC3"))
If Err.Number <> 13 Then WScript.Echo "FAILED record"
WScript.Echo "surrogate done"
