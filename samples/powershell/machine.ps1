# GZSupport from Windows PowerShell: folders, settings, versions, and another application.
#
# To run it, with ZSupport registered, in 32-bit Windows PowerShell, because the library is 32-bit:
#   %SystemRoot%\SysWOW64\WindowsPowerShell\v1.0\powershell.exe -ExecutionPolicy Bypass -File machine.ps1
#
# A value fits wherever an argument is by reference; [ref] is needed only for what is to come back,
# and then on a variable that has a value of the right type already.
#
# A member that fails returns an empty result and puts a record into the library's log. It raises
# the error as well once a Zollection has raised one of its own on this thread.
Set-StrictMode -Version 2
$ErrorActionPreference = 'Stop'

$CSIDL_FONTS = 20; $CSIDL_APPDATA = 26; $CSIDL_PROGRAM_FILES = 38; $CSIDL_FLAG_CREATE = 32768
$rwm_User = 1

$support = New-Object -ComObject ZSupport.GZSupport

# Identity and folders.
"user:      $($support.GetUserName()) at $($support.GetComputerName())"
"documents: $($support.GetMyDocumentsPath())"
"user data: $($support.GetAppDataPath())"
"all users: $($support.GetCommonAppDataPath())"
"programs:  $($support.GetFolderPath($CSIDL_PROGRAM_FILES))"
"fonts:     $($support.GetFolderPath($CSIDL_FONTS))"
# A folder below another, made on request.
$own = $support.GetFolderPath($CSIDL_APPDATA -bor $CSIDL_FLAG_CREATE, 'ZSupport samples\PowerShell')
"own data:  $own, there: $(Test-Path -LiteralPath $own)"

# A new empty file; the folder comes back in the variable.
$folder = ''
$file = $support.GetTempFileName2([ref] $folder, 'zsp')
"temporary: $folder, a file in it: $($file.StartsWith($folder))"
Remove-Item -LiteralPath $file

# Settings: the administrator's policy, the user's value, the machine's, or the default given here.
# The section is remembered by each of the two members, so it can be left out after a first call.
$section = 'Software\Zarnow Instruments Ltd.\Samples\Settings PowerShell'
$noPolicy = $false
"before:    $($support.GetRegistryValue('Colour', 'red', $section, [ref] $noPolicy))"
"no policy decided: $noPolicy"
# Stored for this user, because it differs from the default.
$support.WriteRegistryValue('Colour', 'blue', 'red', $rwm_User, $section)
"after:     $($support.GetRegistryValue('Colour', 'red'))"
# Writing the default removes what is stored.
$support.WriteRegistryValue('Colour', 'red', 'red', $rwm_User)
"again:     $($support.GetRegistryValue('Colour', 'red (default)'))"

# Arrays. Typed ones go in as they are.
"joined:    $($support.JoinLongs([int[]] (1, -2, 30), '; '))"
"texts:     $($support.StringArray([object[]] ('a', 2, $true)) -join ' ')"

# Versions are records, which .NET takes from no late-bound call. They come through the interface
# itself, declared as far as its last member that is needed, in the order of the type library.
Add-Type -TypeDefinition @'
using System;
using System.Runtime.InteropServices;

[StructLayout(LayoutKind.Sequential), Guid("C6C0B0C3-0C0C-4C8E-9B57-7E1E4F5A7D21")]
public struct Stamp
{
    public int Major, Minor, Revision, ReleaseType;
}

[ComImport, Guid("3D1E6C52-7F0B-4C58-9C7C-52E1B0B6E0A4")]
[InterfaceType(ComInterfaceType.InterfaceIsDual)]
public interface IGZSupport
{
    object GetRegistryValue(ref string valueKey, ref object preset, ref string sectionKey,
        ref bool noPolicySet);
    void WriteRegistryValue(ref string valueKey, ref object value, ref object preset, ref int mode,
        ref string sectionKey, ref string prompt);
    Stamp VersionStamp(ref string text);
    string VersionString(ref Stamp stamp, ref bool full, ref bool includeType,
        ref bool hideRevision);
    int CompareVersionStamps(ref Stamp left, ref Stamp right);
    Stamp OSVersion();
}

public static class Versions
{
    public static Stamp Read(object support, string text)
    {
        return ((IGZSupport)support).VersionStamp(ref text);
    }

    public static string Write(object support, Stamp stamp, bool full)
    {
        bool includeType = true, hideRevision = false;
        return ((IGZSupport)support).VersionString(ref stamp, ref full, ref includeType,
            ref hideRevision);
    }

    public static int Compare(object support, Stamp left, Stamp right)
    {
        return ((IGZSupport)support).CompareVersionStamps(ref left, ref right);
    }

    public static Stamp OfSystem(object support)
    {
        return ((IGZSupport)support).OSVersion();
    }
}
'@

$candidate = [Versions]::Read($support, '2.5.0.7RC3')
"candidate: $([Versions]::Write($support, $candidate, $true)), number $($candidate.ReleaseType -band 15)"
$newer = [Versions]::Read($support, '1.10.0')
$older = [Versions]::Read($support, '1.9.9')
"order:     $([Versions]::Compare($support, $newer, $older))"
# Of the system, Major is the minor version, and Revision the build.
"system:    build $([Versions]::OfSystem($support).Revision)"

# Another application, found by the tag on its window: calculator.exe of samples\messages, when it
# runs. It gets a text and a number, and SendData waits until it has taken them. It would answer to
# a window tagged "Customer"; 0 tells it to end.
$window = $support.GetTaggedWindow2('Calculator')
if ($window -ne 0) {
    $support.SendData($window, 'from PowerShell', 1)
    $support.SendData($window, '', 0)
    'calculator: was sent a text, and told to end'
} else {
    'calculator: does not run'
}
'done'
