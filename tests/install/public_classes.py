#!/usr/bin/env python3
"""public_classes.py INCLUDE LIBRARY: links a program that uses all that the headers below INCLUDE
declare for others: the type of every class, every function that is not private and has no body there.

The headers are read by clang. Without it, the exit status is 77.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

FUNCTIONS = ("FunctionDecl", "CXXMethodDecl", "CXXConstructorDecl", "CXXDestructorDecl",
             "CXXConversionDecl")


def declarations(source, include):
    """What stands in our namespace and the C functions, as clang sees them."""
    for name in ("nvimport", "NvImport"):
        text = subprocess.run(
            ["clang++", "-std=c++20", "-fsyntax-only", "-I", include, "-Xclang", "-ast-dump=json",
             "-Xclang", f"-ast-dump-filter={name}", source], check=True, capture_output=True,
            text=True).stdout
        decoder = json.JSONDecoder()
        at = 0
        while at < len(text):
            tree, at = decoder.raw_decode(text, at)
            at += len(text[at:]) - len(text[at:].lstrip())
            yield tree


def is_here(function):
    """Whether the function has its body in the header, or none at all."""
    return (function.get("isImplicit") or function.get("pure") or function.get("inline")
            or function.get("explicitlyDeleted") or function.get("explicitlyDefaulted")
            or any(part.get("kind") == "CompoundStmt" for part in function.get("inner", ())))


def walk(node, path, functions, classes):
    kind = node.get("kind")
    if kind in ("NamespaceDecl", "LinkageSpecDecl"):
        for inner in node.get("inner", ()):
            walk(inner, path + [node["name"]] if "name" in node else path, functions, classes)
    elif kind == "CXXRecordDecl" and node.get("completeDefinition") and "name" in node:
        path = path + [node["name"]]
        classes.add("::".join(path))
        access = "public" if node["tagUsed"] == "struct" else "private"
        for inner in node.get("inner", ()):
            if inner["kind"] == "AccessSpecDecl":
                access = inner["access"]
            elif access != "private":
                walk(inner, path, functions, classes if access == "public" else set())
    elif kind in FUNCTIONS and not is_here(node):
        functions.add(node["mangledName"])
    elif kind == "VarDecl" and node.get("storageClass") and not (
            node.get("constexpr") or node.get("inline")):
        functions.add(node["mangledName"])


def main():
    if shutil.which("clang++") is None:
        print("skipped: no clang++")
        return 77
    include, library = sys.argv[1:]
    headers = sorted(path.relative_to(include) for path in pathlib.Path(include).rglob("*.h"))
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "all.cpp")
        lines = ["#include <typeinfo>", *(f"#include <{header}>" for header in headers)]
        pathlib.Path(source).write_text("\n".join(lines) + "\n")
        functions, classes = set(), set()
        for tree in declarations(source, include):
            walk(tree, [], functions, classes)
        # Else nothing was found that could fail.
        assert {"nvimport::CsvFile", "nvimport::Excel2007File"} <= classes, classes
        assert "NvImportOpen" in functions, functions
        names = sorted(functions)
        lines += [f'extern char f{i} __asm__("{name}");' for i, name in enumerate(names)]
        lines += ["const void* const functions[] = {"]
        lines += [f"    &f{i}," for i in range(len(names))]
        lines += ["};", "const std::type_info* const types[] = {"]
        lines += [f"    &typeid({name})," for name in sorted(classes)]
        lines += ["};", "int main() {", "  for (const void* f : functions) if (!f) return 1;",
                  "  for (const std::type_info* t : types) if (!*t->name()) return 1;", "}"]
        pathlib.Path(source).write_text("\n".join(lines) + "\n")
        program = os.path.join(folder, "all")
        compiler = os.environ.get("CXX", "c++")
        flags = os.environ.get("CXXFLAGS", "").split()
        for command in ([compiler, "-std=c++20", *flags, "-I", include, source, library,
                         f"-Wl,-rpath,{os.path.dirname(library)}", "-o", program], [program]):
            result = subprocess.run(command, capture_output=True, text=True)
            if result.returncode != 0:
                print(result.stdout + result.stderr)
                return 1
    print(f"{len(headers)} headers, {len(classes)} classes, {len(functions)} functions")
    return 0


if __name__ == "__main__":
    sys.exit(main())
