// The library for .NET: interfaces, records, enumerations and events, as a source file to add to a
// project. So nobody needs an imported assembly; build for 32 bits (x86).
//
// The interfaces list their members in the order of their tables, none may be left out. A property
// that takes an argument is a pair of methods, since C# has no such properties.
using System;
using System.Runtime.InteropServices;
using System.Runtime.InteropServices.ComTypes;

namespace ZSupport {

public enum CompareModes { CompareBinary = 0, CompareText = 1 }

public enum wecErrors {
  NoTypelib = -1,
  NoDefaultSource = -2,
  NotEventSource = -2147221504,
  SourceNotDispinterface = -2147221503,
  SourceInterfaceNotFound = -2147221502,
  CannotCreateSinkObject = -2147221501
}

public enum RegWriteMode { User = 1, Machine = 2, Prompt = 3 }

public enum InstallMode { Fail = 1, Prompt = 2, Install = 3 }

[StructLayout(LayoutKind.Sequential, Pack = 4)]
public struct VersionStamp {
  public int Major, Minor, Revision, ReleaseType;
}

[StructLayout(LayoutKind.Sequential, Pack = 4)]
public struct RECT {
  public int left, top, right, bottom;
}

[StructLayout(LayoutKind.Sequential, Pack = 4)]
public struct ArrayHeader {
  public short cDims, fFeatures;
  public int cbElements, cLocks, pvData;
}

[StructLayout(LayoutKind.Sequential, Pack = 4)]
public struct ArrayHeader1D {
  public short cDims, fFeatures;
  public int cbElements, cLocks, pvData, cElements, lLbound;
}

[ComImport, Guid("96C697D0-DA19-4620-A6D9-02E31FA264ED"),
 InterfaceType(ComInterfaceType.InterfaceIsDual)]
public interface _Zollection {
  // Its writer comes first in the table, which a C# property cannot say.
  [DispId(1)] void put_CompareMode(CompareModes mode);
  [DispId(1)] CompareModes get_CompareMode();
  [DispId(2)] int Count { get; }
  [DispId(3)] int Increment { get; set; }
  [DispId(4)] bool UseDISPID { get; set; }
  // Before and After: Type.Missing, a position or a key.
  [DispId(5)]
  void Add([MarshalAs(UnmanagedType.IDispatch)] object Item, ref string SourceIID, ref string Key,
           ref object Before, ref object After);
  [DispId(6)] void Clear();
  [DispId(7)] void Remove(object Key);
  [DispId(8)] void RemoveByKey(string Key);
  [DispId(9)] void RemoveByIndex(int Index);
  [DispId(0)] [return: MarshalAs(UnmanagedType.IDispatch)] object get_Item(object Key);
  [DispId(10)] [return: MarshalAs(UnmanagedType.IDispatch)] object ItemByIndex(int Index);
  [DispId(11)] [return: MarshalAs(UnmanagedType.IDispatch)] object ItemByKey(ref string Key);
  [DispId(12)] bool get_Exists(object Key);
  [DispId(13)] bool KeyExists(string Key);
  [DispId(14)] int IndexFromKey(string Key);
  [DispId(15)] string get_Key(int Index);
  [DispId(15)] void put_Key(int Index, string Key);
  [DispId(-4)] IEnumVARIANT NewEnum();
  [DispId(0x6003000C)] void RaiseTheEvent(int lPtrItem, int DISPID, int lParams);
}

// What a listener implements.
[ComImport, Guid("D20D3439-64D3-4496-9B55-C79C5992CEF9"),
 InterfaceType(ComInterfaceType.InterfaceIsIDispatch)]
public interface __Zollection {
  [DispId(1)]
  void EventRaised(
      int Index, [MarshalAs(UnmanagedType.IDispatch)] object Source, object RaisedEvent,
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_VARIANT)]
      ref object[] aParams);
  [DispId(2)]
  void ConnectionFailed([MarshalAs(UnmanagedType.IDispatch)] object Source, ref string SourceIID,
                        wecErrors Reason);
}

[ComImport, Guid("938E3045-256D-4EFB-94A7-7850587452DD"),
 ComSourceInterfaces(typeof(__Zollection))]
public class ZollectionClass {}

public delegate void EventRaisedHandler(int index, object source, object raisedEvent,
                                        ref object[] parameters);

public delegate void ConnectionFailedHandler(object source, ref string sourceIID,
                                             wecErrors reason);

// The events of one collection as events of C#, until it is disposed of.
[ComVisible(true), ClassInterface(ClassInterfaceType.None)]
public sealed class ZollectionEvents : __Zollection, IDisposable {
  public event EventRaisedHandler EventRaised;
  public event ConnectionFailedHandler ConnectionFailed;

  private IConnectionPoint point;
  private readonly int cookie;

  public ZollectionEvents(_Zollection collection) {
    Guid events = typeof(__Zollection).GUID;
    ((IConnectionPointContainer)collection).FindConnectionPoint(ref events, out point);
    point.Advise(this, out cookie);
  }

  public void Dispose() {
    if (point == null) return;
    point.Unadvise(cookie);
    point = null;
  }

  void __Zollection.EventRaised(int index, object source, object raisedEvent,
                                ref object[] parameters) {
    if (EventRaised != null) EventRaised(index, source, raisedEvent, ref parameters);
  }

  void __Zollection.ConnectionFailed(object source, ref string sourceIID, wecErrors reason) {
    if (ConnectionFailed != null) ConnectionFailed(source, ref sourceIID, reason);
  }
}

// Folders (csidl) and summary properties (sisPropertyID) are numbers here.
[ComImport, Guid("3D1E6C52-7F0B-4C58-9C7C-52E1B0B6E0A4"),
 InterfaceType(ComInterfaceType.InterfaceIsDual)]
public interface _GZSupport {
  [DispId(1)]
  object GetRegistryValue(ref string ValueKey, ref object Default, ref string SectionKey,
                          ref bool bNoPolicySet);
  [DispId(2)]
  void WriteRegistryValue(ref string ValueKey, ref object Value, ref object Default,
                          ref RegWriteMode mode, ref string SectionKey, ref string Prompt);
  [DispId(3)] VersionStamp VersionStamp(ref string strVersionString);
  [DispId(4)]
  string VersionString(ref VersionStamp vs, ref bool bFull, ref bool bIncludeRT,
                       ref bool bHideRevision);
  [DispId(5)] int CompareVersionStamps(ref VersionStamp VS1, ref VersionStamp VS2);
  [DispId(6)] VersionStamp OSVersion();
  [DispId(7)] string MakeLegalPath(string strUnrestricted);
  [DispId(8)] string GetLongPathName(ref string strShortPathName);
  [DispId(9)] string GetUserName();
  [DispId(10)] string GetComputerName();
  [DispId(11)] string GetFolderPath(ref int ePath, string strSubDir);
  [DispId(12)] string GetMyDocumentsPath();
  [DispId(13)] string GetAppDataPath();
  [DispId(14)] string GetCommonAppDataPath();
  [DispId(15)] string GetTempPath();
  [DispId(16)] string GetTempFileName2(ref string strDir, ref string strPrefix);
  [DispId(17)] bool EnsureDirExists(ref string strDir);
  [DispId(18)]
  [return: MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_BSTR)]
  string[] StringArray(
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_VARIANT)]
      ref object[] Strings);
  [DispId(19)]
  [return: MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_BSTR)]
  string[] StringArray2(
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_VARIANT)]
      ref object[] v);
  [DispId(20)]
  string JoinLongs(
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_I4)] ref int[] l,
      ref string strDelimiter);
  [DispId(21)]
  void AddSVParameter(
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_BSTR)]
      ref string[] strStrings,
      [In, Out, MarshalAs(UnmanagedType.SafeArray, SafeArraySubType = VarEnum.VT_VARIANT)]
      ref object[] vValues,
      ref string strString, ref object vValue);
  [DispId(22)] bool IsEqualVariant(ref object v1, ref object v2);
  [DispId(23)] bool IsEqualDate(ref DateTime d1, ref DateTime d2);
  // A date must be one that Automation has: DateTime.FromOADate makes such a span.
  [DispId(24)] double DateMultiple(ref DateTime d1, ref DateTime d2);
  [DispId(25)] void NotImplemented(ref string NIID, ref string strText);
  [DispId(26)] object VBoost { [return: MarshalAs(UnmanagedType.IDispatch)] get; }
  // The next three take addresses of array variables, which a managed program does not have; Bounds
  // is the address of a SAFEARRAY of bounds.
  [DispId(27)] ArrayHeader ArrayDescriptor(int ppSA);
  [DispId(28)] ArrayHeader1D ArrayDescriptor1D(int ppSA);
  [DispId(29)] short ArrayBounds(int ppSA, ref IntPtr Bounds);
  [DispId(30)] string GetComponentProductID(ref string CompID);
  [DispId(31)]
  string GetComponentLocation2(ref string CompID, ref string ProductID, ref InstallMode Action,
                               ref string Prompt, ref bool bIgnoreProduct);
  [DispId(32)] string GetProductInfo(ref string ProductID, ref string strProperty);
  [DispId(33)] string GetProductSummaryInfo(ref string ProductID, ref int eProperty);
  [DispId(34)] void CenterWindow(ref int hwnd, ref int hWndOwner, ref bool bMaximize);
  [DispId(35)] RECT BoundingBox(int hwnd);
  [DispId(36)] int GetTaggedWindow2(string AppID);
  [DispId(37)] void SendData(int hWndTo, string strString, int lData);
  [DispId(38)]
  [return: MarshalAs(UnmanagedType.IDispatch)]
  object GetROTObject(ref string strClass, ref bool bAllwaysUseROT,
                      ref bool bCreateIfNotRunning);
}

[ComImport, Guid("7B8B8B0E-2C1B-4A6E-8D0F-3F6F2B6A9C55")]
public class GZSupportClass {}

}  // namespace ZSupport
