// The thermometer of ../thermometer once more, in C#: an event source that hands its arguments out
// by reference.
//
// A class with [ComSourceInterfaces] whose type library is registered is an event source by itself
// on .NET Framework. Later runtimes describe their objects to nobody; so this one shows its
// description, Thermometer.tlb beside the program, by itself, and keeps its listeners.
using System;
using System.Collections.Generic;
using System.Reflection;
using System.Runtime.InteropServices;
using System.Runtime.InteropServices.ComTypes;

namespace Thermometers {

[ComVisible(true), Guid("51C6546D-996B-4157-910C-741F6B1A57BB"),
 InterfaceType(ComInterfaceType.InterfaceIsDual)]
public interface _Thermometer {
  [DispId(1)] void Measure(ref int Celsius, ref string Remark);
}

// IDispatch as a plain table.
[ComImport, Guid("00020400-0000-0000-C000-000000000046"),
 InterfaceType(ComInterfaceType.InterfaceIsIUnknown)]
public interface IDispatchTable {
  [PreserveSig] int GetTypeInfoCount(out int count);
  [PreserveSig] int GetTypeInfo(int index, int locale, out ITypeInfo info);
  [PreserveSig]
  int GetIDsOfNames(ref Guid id, IntPtr names, int count, int locale, IntPtr ids);
  [PreserveSig]
  int Invoke(int member, ref Guid id, int locale, short flags, IntPtr arguments, IntPtr result,
             IntPtr exception, IntPtr bad);
}

// Object and connection point in one: everything that a Zollection asks of its items.
[ComVisible(true), ClassInterface(ClassInterfaceType.None)]
public sealed class Thermometer : _Thermometer, IDispatchTable, ICustomQueryInterface,
                                  IConnectionPointContainer, IConnectionPoint {
  private const int S_OK = 0;
  private const int E_NOTIMPL = unchecked((int)0x80004001);
  private const int DISP_E_BADINDEX = unchecked((int)0x8002000B);
  private const int CONNECT_E_NOCONNECTION = unchecked((int)0x80040200);
  private static readonly Guid Events = new Guid("BB963B62-B8CA-4E36-BDB3-F28C568D01B8");
  private static readonly ITypeInfo Description = LoadDescription();

  private readonly Dictionary<int, object> listeners = new Dictionary<int, object>();
  private int lastCookie;

  public void Measure(ref int celsius, ref string remark) {
    var arguments = new object[] { celsius, remark };
    var byReference = new ParameterModifier(arguments.Length);
    for (int i = 0; i < arguments.Length; ++i) byReference[i] = true;
    // One may leave while it is called.
    foreach (object listener in new List<object>(listeners.Values)) {
      listener.GetType().InvokeMember("[DISPID=7]", BindingFlags.InvokeMethod, null, listener,
                                      arguments, new[] { byReference }, null, null);
    }
    celsius = (int)arguments[0];
    remark = (string)arguments[1];
  }

  // Of all interfaces, the runtime is overruled for IDispatch alone.
  public CustomQueryInterfaceResult GetInterface(ref Guid id, out IntPtr found) {
    found = IntPtr.Zero;
    if (id != typeof(IDispatchTable).GUID) return CustomQueryInterfaceResult.NotHandled;
    found = Marshal.GetComInterfaceForObject(this, typeof(IDispatchTable),
                                             CustomQueryInterfaceMode.Ignore);
    return CustomQueryInterfaceResult.Handled;
  }

  public int GetTypeInfoCount(out int count) {
    count = 1;
    return S_OK;
  }

  public int GetTypeInfo(int index, int locale, out ITypeInfo info) {
    info = index == 0 ? Description : null;
    return index == 0 ? S_OK : DISP_E_BADINDEX;
  }

  public int GetIDsOfNames(ref Guid id, IntPtr names, int count, int locale, IntPtr ids) {
    return DispGetIDsOfNames(Description, names, count, ids);
  }

  public int Invoke(int member, ref Guid id, int locale, short flags, IntPtr arguments,
                    IntPtr result, IntPtr exception, IntPtr bad) {
    IntPtr self = Marshal.GetComInterfaceForObject(this, typeof(_Thermometer));
    try {
      return DispInvoke(self, Description, member, flags, arguments, result, exception, bad);
    } finally {
      Marshal.Release(self);
    }
  }

  public void EnumConnectionPoints(out IEnumConnectionPoints points) {
    throw new COMException("EnumConnectionPoints", E_NOTIMPL);
  }

  public void FindConnectionPoint(ref Guid id, out IConnectionPoint point) {
    if (id != Events) throw new COMException("FindConnectionPoint", CONNECT_E_NOCONNECTION);
    point = this;
  }

  public void GetConnectionInterface(out Guid id) { id = Events; }

  public void GetConnectionPointContainer(out IConnectionPointContainer container) {
    container = this;
  }

  public void Advise(object listener, out int cookie) {
    cookie = ++lastCookie;
    listeners.Add(cookie, listener);
  }

  public void Unadvise(int cookie) {
    if (!listeners.Remove(cookie)) throw new COMException("Unadvise", CONNECT_E_NOCONNECTION);
  }

  public void EnumConnections(out IEnumConnections connections) {
    throw new COMException("EnumConnections", E_NOTIMPL);
  }

  private static ITypeInfo LoadDescription() {
    const int REGKIND_NONE = 2;
    ITypeLib library;
    ITypeInfo description;
    Guid id = typeof(_Thermometer).GUID;
    LoadTypeLibEx(AppDomain.CurrentDomain.BaseDirectory + "Thermometer.tlb", REGKIND_NONE,
                  out library);
    library.GetTypeInfoOfGuid(ref id, out description);
    return description;
  }

  [DllImport("oleaut32.dll", CharSet = CharSet.Unicode, PreserveSig = false)]
  private static extern void LoadTypeLibEx(string file, int kind, out ITypeLib library);

  [DllImport("oleaut32.dll")]
  private static extern int DispGetIDsOfNames(ITypeInfo info, IntPtr names, int count, IntPtr ids);

  [DllImport("oleaut32.dll")]
  private static extern int DispInvoke(IntPtr self, ITypeInfo info, int member, short flags,
                                       IntPtr arguments, IntPtr result, IntPtr exception,
                                       IntPtr bad);
}

}  // namespace Thermometers
