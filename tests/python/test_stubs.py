#!/usr/bin/env python3
"""The type stubs describe the package as it is, and everything public is documented."""

import ast
import dataclasses
import inspect
import pathlib
import re
import unittest

import moxj
from support import *

STUBS = ast.parse((pathlib.Path(moxj.__file__).parent / "__init__.pyi").read_text(encoding="utf-8"))


def functions(body):
    """The functions of a stub by name; overloads are several."""
    found = {}
    for node in body:
        if isinstance(node, ast.FunctionDef):
            found.setdefault(node.name, []).append(node)
    return found


def parameters(node):
    """Name, kind and default (as text) of each parameter of a stub's function."""
    given = node.args
    positional = given.posonlyargs + given.args
    defaults = [None] * (len(positional) - len(given.defaults)) + given.defaults
    result = [(each.arg, "positional", default) for each, default in zip(positional, defaults)]
    result += [(each.arg, "keyword", default) for each, default in zip(given.kwonlyargs, given.kw_defaults)]
    return [(name, kind, None if default is None else ast.literal_eval(default)) for name, kind, default in result]


def real_parameters(function):
    return [(each.name, "keyword" if each.kind is each.KEYWORD_ONLY else "positional",
             None if each.default is each.empty else each.default)
            for each in inspect.signature(function).parameters.values()]


class Stubs(PictureTest):
    def test_functions(self):
        stubs = functions(STUBS.body)
        public = {name for name in moxj.__all__ if inspect.isfunction(getattr(moxj, name))}
        self.assertEqual(set(stubs), public)
        for name, overloads in stubs.items():
            for stub in overloads:
                self.assertEqual(parameters(stub), real_parameters(getattr(moxj, name)), name)

    def test_overloads_differ_where_they_may(self):
        """An overload narrows a type, it does not add or take a parameter; so all have the same names."""
        for overloads in functions(STUBS.body).values():
            self.assertEqual(len({tuple(name for name, _, _ in parameters(stub)) for stub in overloads}), 1)

    def test_classes(self):
        stubs = {node.name: node for node in STUBS.body if isinstance(node, ast.ClassDef)
                 and not node.name.startswith("_")}
        public = {name for name in moxj.__all__ if inspect.isclass(getattr(moxj, name))}
        self.assertEqual(set(stubs), public)
        for name, stub in stubs.items():
            real = getattr(moxj, name)
            if issubclass(real, (moxj.Error, Warning)):
                self.assertEqual([base.id for base in stub.bases], [base.__name__ for base in real.__bases__], name)

    def test_attributes(self):
        for node in STUBS.body:
            if not isinstance(node, ast.ClassDef) or node.name.startswith("_"):
                continue
            names = {item.target.id for item in node.body if isinstance(item, ast.AnnAssign)}
            names |= set(functions(node.body))
            real = {"Picture": moxj.read(moxj.encode(noise((3, 3)), "png")), "Limits": moxj.Limits(),
                    "Metadata": moxj.Metadata("icc", b""), "Format": moxj.formats()[0],
                    "Error": moxj.Error("text")}.get(node.name)
            if real is not None:
                found = {name for name in dir(real) if not name.startswith("_")}
                found -= set(dir(tuple)) if isinstance(real, tuple) else set(dir(Exception("")))
                self.assertEqual(names, found, node.name)
        self.assertEqual([field.name for field in dataclasses.fields(moxj.Limits)],
                         [item.target.id for node in STUBS.body if getattr(node, "name", "") == "Limits"
                          for item in node.body])

    def test_all_is_complete(self):
        public = {name for name, value in vars(moxj).items() if not name.startswith("_") and
                  getattr(value, "__module__", "").startswith("moxj")}
        self.assertEqual(public, set(moxj.__all__))

    def test_marker(self):
        self.assertTrue((pathlib.Path(moxj.__file__).parent / "py.typed").exists())


class Documentation(PictureTest):
    def test_everything_public_is_documented(self):
        for name in moxj.__all__:
            item = getattr(moxj, name)
            self.assertTrue(inspect.getdoc(item), name)
            self.assertIn("moxj", item.__module__)
        for name, item in vars(moxj.Picture).items():
            if isinstance(item, property):
                self.assertTrue(item.__doc__, name)

    def test_every_parameter_is_named(self):
        """By its own function, or by the one that it refers to."""
        for name in "decode", "encode", "transcode", "compare":
            function = getattr(moxj, name)
            text = function.__doc__ + (moxj.decode.__doc__ if name != "decode" else "") + moxj.__doc__
            for parameter in inspect.signature(function).parameters:
                self.assertRegex(text, rf"\b{re.escape(parameter)}\b", (name, parameter))

    def test_attributes_of_pictures_are_named(self):
        for name in vars(moxj.read(moxj.encode(noise((3, 3)), "png"))):
            self.assertRegex(moxj.Picture.__doc__, rf"\b{name}  ", name)


if __name__ == "__main__":
    unittest.main()
