' A 64-bit script engine and the 32-bit library, in a process of the platform's: a collection, an
' array, an error, from which on errors are raised, and an address of nothing.
Option Explicit
Dim z, other, support, seen, nonsense
Set z = CreateObject("ZSupport.Zollection")
Set other = CreateObject("ZSupport.Zollection")
Set support = CreateObject("ZSupport.GZSupport")
z.Add other, "", "key"
seen = z.Count & z.KeyExists("key") & (z.Item("key") Is other) & support.JoinLongs(Array(1, 2, 3))
On Error Resume Next
z.RemoveByIndex 99 : seen = seen & " " & Err.Number : Err.Clear
nonsense = support.ArrayDescriptor(12) : seen = seen & " " & Err.Number
If seen = "1TrueTrue1,2,3 381 5" Then WScript.Echo "surrogate done" Else WScript.Echo "FAILED " & seen
