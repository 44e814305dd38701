' Settings with a policy layer from VBScript.
'
' To run it, with ZSupport registered:   cscript //nologo settings.vbs
' (on a 64-bit Windows: %SystemRoot%\SysWOW64\cscript, because the library is 32-bit)
'
' A setting is looked up in the administrator's policy, then with the user, then with the machine;
' last comes the default that the program gives. Policies exist for keys under the company root.
Option Explicit

Const rwm_User = 1, rwm_Machine = 2, rwm_Prompt = 3
Const section = "Software\Zarnow Instruments Ltd.\Samples\Settings"

Dim support, noPolicy, mode
Set support = CreateObject("ZSupport.GZSupport")

WScript.Echo "before: " & support.GetRegistryValue("Colour", "red", section, noPolicy)
WScript.Echo "no policy decided: " & noPolicy       ' the fourth argument comes back

' Stored for this user, because it differs from the default.
mode = rwm_User
support.WriteRegistryValue "Colour", "blue", "red", mode, section
WScript.Echo "after: " & support.GetRegistryValue("Colour", "red", section)

' The section is remembered by each of the two members, so it can be left out from now on.
support.WriteRegistryValue "Size", 12, 10, mode
WScript.Echo "size: " & support.GetRegistryValue("Size", 10)

' Writing the default removes what is stored: there is nothing left to say.
support.WriteRegistryValue "Colour", "red", "red", mode
support.WriteRegistryValue "Size", 10, 10, mode
WScript.Echo "again: " & support.GetRegistryValue("Colour", "red (default)")
WScript.Echo "done"
