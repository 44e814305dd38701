// What else a C# program can ask of the library: errors, a refused event interface, late binding,
// and members of GZSupport that take and give texts, records and arrays. demo.cs has the events.
//
// Compiled by ./dev test on Debian, and run there where a runtime can be had. On Windows:
//   csc -platform:x86 tour.cs ZSupport.cs
using System;
using System.Reflection;
using System.Runtime.InteropServices;
using ZSupport;

static class Tour {
  static void Report(Exception problem) {
    Console.WriteLine("  error {0:X8} from {1}: {2}", problem.HResult, problem.Source,
                      problem.Message);
  }

  static object Create(string name) {
    return Activator.CreateInstance(Type.GetTypeFromProgID(name));
  }

  static void Add(_Zollection collection, object item, string key, string sourceIID = "") {
    object before = Type.Missing, after = Type.Missing;
    try {
      collection.Add(item, ref sourceIID, ref key, ref before, ref after);
      Console.WriteLine("  added " + key);
    } catch (Exception problem) {
      Report(problem);
    }
  }

  static void ShowErrors() {
    const string unknownEvents = "{51C6546D-996B-4157-910C-741F6B1A57BB}";
    string answer = null;
    var collection = (_Zollection) new ZollectionClass();
    Console.WriteLine("Errors are exceptions:");
    using (var events = new ZollectionEvents(collection)) {
      // Asked when an item's events cannot be had: another interface is tried, "no events" lets the
      // item in without them, and the question returned as it came makes Add fail.
      events.ConnectionFailed += (object source, ref string sourceIID, wecErrors reason) => {
        Console.WriteLine("  ConnectionFailed {0}, reason {1:X8}", sourceIID, (int)reason);
        sourceIID = answer ?? sourceIID;
      };
      Add(collection, Create("Scripting.Dictionary"), "no events");
      Add(collection, Create("Shell.Explorer.2"), "other events", unknownEvents);
      answer = Guid.Empty.ToString("B");
      Add(collection, Create("Shell.Explorer.2"), "without events", unknownEvents);
      try {
        collection.RemoveByIndex(99);
      } catch (COMException problem) {
        Report(problem);
      }
      Console.WriteLine("  left in the collection: " + collection.Count);
    }
  }

  static void ShowVersions(_GZSupport support) {
    string text = "1.2.0.5RC3";
    VersionStamp candidate = support.VersionStamp(ref text);
    text = "1.10.0";
    VersionStamp later = support.VersionStamp(ref text);
    bool full = true, releaseType = true, hide = false;
    Console.WriteLine("Versions, in records:");
    Console.WriteLine("  {0} {1} {2} {3} is {4}", candidate.Major, candidate.Minor,
                      candidate.Revision, candidate.ReleaseType,
                      support.VersionString(ref candidate, ref full, ref releaseType, ref hide));
    Console.WriteLine("  order " + support.CompareVersionStamps(ref candidate, ref later));
  }

  static void ShowArrays(_GZSupport support) {
    Console.WriteLine("Arrays:");
    int[] numbers = { 1, -2, 30 };
    string delimiter = "; ";
    Console.WriteLine("  " + support.JoinLongs(ref numbers, ref delimiter));

    object[] values = { 1, true, "three" };
    Console.WriteLine("  " + string.Join(", ", support.StringArray(ref values)));

    // The library may make an array larger: it is passed by reference.
    var names = new string[1];
    values = new object[1];
    string name = "colour";
    object value = "blue";
    support.AddSVParameter(ref names, ref values, ref name, ref value);
    name = "size";
    value = 12;
    support.AddSVParameter(ref names, ref values, ref name, ref value);
    Console.WriteLine("  {0}={1}, {2}={3}", names[0], values[0], names[1], values[1]);
  }

  static void ShowValues(_GZSupport support) {
    Console.WriteLine("Values, names and folders:");
    DateTime day = DateTime.FromOADate(1), halfHour = DateTime.FromOADate(1 / 48.0);
    Console.WriteLine("  half hours in a day: " + support.DateMultiple(ref day, ref halfHour));
    object first = 1, second = 1.0;
    Console.WriteLine("  1 equals 1.0: " + support.IsEqualVariant(ref first, ref second));
    Console.WriteLine("  " + support.MakeLegalPath("C:\\notes: what? | why?.txt"));
    int folder = (int)Environment.SpecialFolder.ApplicationData;
    Console.WriteLine("  below the application data: " +
                      (support.GetFolderPath(ref folder, "Editor\\Pages") ==
                       support.GetAppDataPath() + "\\Editor\\Pages"));
    Console.WriteLine("  a user on a computer: " + (support.GetUserName() != "" &&
                                                    support.GetComputerName() != ""));
  }

  static void ShowSettings(_GZSupport support) {
    string section = "Software\\Zarnow Instruments Ltd.\\Tour", name = "Colour", prompt = "";
    object value = "blue", standard = "red";
    bool noPolicy = false;
    RegWriteMode mode = RegWriteMode.User;
    Console.WriteLine("Settings:");
    support.WriteRegistryValue(ref name, ref value, ref standard, ref mode, ref section,
                               ref prompt);
    Console.WriteLine(
        "  written: " +
        support.GetRegistryValue(ref name, ref standard, ref section, ref noPolicy));
    value = standard;
    support.WriteRegistryValue(ref name, ref value, ref standard, ref mode, ref section,
                               ref prompt);
    Console.WriteLine(
        "  again: " +
        support.GetRegistryValue(ref name, ref standard, ref section, ref noPolicy));
  }

  // Late bound, arguments may be left out and named. On .NET Framework "dynamic" does the same in
  // fewer words. What fails arrives inside a TargetInvocationException.
  static object Call(object target, BindingFlags kind, string member, object[] arguments,
                     string[] names = null) {
    try {
      return target.GetType().InvokeMember(member, kind, null, target, arguments, null, null,
                                           names);
    } catch (TargetInvocationException problem) {
      throw problem.InnerException;
    }
  }

  static void ShowLateBinding() {
    Console.WriteLine("Late bound:");
    object collection = Create("ZSupport.Zollection");
    Call(collection, BindingFlags.InvokeMethod, "Add",
         new object[] { Create("Shell.Explorer.2"), "one" }, new[] { "Item", "Key" });
    Console.WriteLine("  {0} of {1}",
                      Call(collection, BindingFlags.GetProperty, "Key", new object[] { 1 }),
                      Call(collection, BindingFlags.GetProperty, "Count", null));
    try {
      Call(collection, BindingFlags.InvokeMethod, "RemoveByIndex", new object[] { 99 });
    } catch (COMException problem) {
      Report(problem);
    }
  }

  [STAThread]
  static void Main() {
    ShowErrors();
    var support = (_GZSupport) new GZSupportClass();
    ShowVersions(support);
    ShowArrays(support);
    ShowValues(support);
    ShowSettings(support);
    ShowLateBinding();
    Console.WriteLine("done");
  }
}
