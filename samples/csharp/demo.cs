// The demo in C#: objects of two quite different kinds in one Zollection, and one handler for all
// of their events. It prints line for line what ../demo/demo.cpp prints.
//
// To run it on Debian: ./dev demo csharp
// On Windows:   csc -platform:x86 demo.cs thermometer.cs ZSupport.cs
// with Thermometer.tlb, which midl makes from ../thermometer/Thermometer.idl, beside the program.
using System;
using System.Reflection;
using Thermometers;
using ZSupport;

static class Demo {
  // A value as a reader would write it.
  static string Show(object value) {
    return value is string ? "\"" + value + "\"" : Convert.ToString(value);
  }

  static void Handle(_Zollection collection, int index, string name, object[] parameters) {
    Console.WriteLine("  EventRaised  position {0}  key {1,-9} {2}({3})", index,
                      collection.get_Key(index), name,
                      string.Join(", ", Array.ConvertAll(parameters, Show)));
    if (name != "Reading") return;
    // Changing an element changes the argument of the object that fired.
    parameters[0] = (int)parameters[0] - 2;
    parameters[1] = "calibrated by the handler";
  }

  static void Add(_Zollection collection, object item, string key) {
    string sourceIID = "";  // the item's own default event interface
    object before = Type.Missing, after = Type.Missing;
    collection.Add(item, ref sourceIID, ref key, ref before, ref after);
    Console.WriteLine("  Add          key " + key);
  }

  static object CreateBrowser() {
    return Activator.CreateInstance(Type.GetTypeFromProgID("Shell.Explorer.2"));
  }

  static void PutTrue(object target, string property) {
    target.GetType().InvokeMember(property, BindingFlags.SetProperty, null, target,
                                  new object[] { true });
  }

  static void Measure(Thermometer thermometer, int celsius, string remark) {
    thermometer.Measure(ref celsius, ref remark);
    Console.WriteLine("    back at the thermometer: {0}, {1}", celsius, Show(remark));
  }

  static void Tell(_Zollection collection) {
    Console.WriteLine("One handler for everything that goes into this collection:");
    object left = CreateBrowser(), right = CreateBrowser();
    Thermometer kitchen = new Thermometer(), cellar = new Thermometer();
    Add(collection, left, "left");
    Add(collection, kitchen, "kitchen");
    Add(collection, right, "right");
    Add(collection, cellar, "cellar");

    Console.WriteLine("\nThe browser controls of the platform fire when their properties change:");
    PutTrue(left, "Visible");
    PutTrue(right, "MenuBar");
    PutTrue(right, "StatusBar");

    Console.WriteLine(
        "\nThe thermometers fire with arguments by reference, so the handler can answer:");
    Measure(kitchen, 23, "as measured");
    Measure(cellar, 11, "as measured");

    Console.WriteLine("\nOut of the collection, out of earshot; positions follow:");
    collection.RemoveByKey("left");
    Console.WriteLine("  RemoveByKey  key left");
    PutTrue(left, "ToolBar");
    PutTrue(right, "ToolBar");
    collection.Clear();
  }

  [STAThread]
  static void Main() {
    var collection = (_Zollection) new ZollectionClass();
    using (var events = new ZollectionEvents(collection)) {
      events.EventRaised += (int index, object source, object name, ref object[] parameters) =>
          Handle(collection, index, (string)name, parameters);
      Tell(collection);
    }
  }
}
