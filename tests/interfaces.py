"""The members that ZSupport.idl lists, in its order."""

import re


def members(idl, name):
    """Kind, dispatch id, name and parameters (attributes, type, name) of each of an interface."""
    text = re.sub(r'//.*|helpstring\("[^"]*"\)', "", idl)
    body = re.search(r"interface " + name + r"(?: : \w+)?\s*\{(.*?)\n\s*\}\n", text, re.DOTALL)[1]
    for attributes, member, parameters in re.findall(r"\[([^]]*)\]\s*(?:HRESULT|void) (\w+)\((.*?)\);",
                                                     body, re.DOTALL):
        kind = re.search(r"(?:prop(get|put))?", attributes)[1] or ""
        yield (kind, int(re.search(r"\bid\((.*?)\)", attributes)[1], 0), member,
               re.findall(r"\[(.*?)\]\s*(\S+?)\s+(\w+)(?=,|$)", parameters, re.DOTALL))
