"""The stub file says what the package has: the same names, arguments and defaults, with annotations everywhere."""

import ast
import inspect
import pathlib

import nxbriochem as nx

STUB = ast.parse((pathlib.Path(nx.__file__).parent / "__init__.pyi").read_text())


def check_function(function, real):
    arguments = function.args
    named = arguments.posonlyargs + arguments.args + arguments.kwonlyargs
    assert all(a.annotation for a in named if a.arg != "self") and function.returns
    signature = inspect.signature(real).parameters
    assert [a.arg for a in named] == [p.name for p in signature.values() if p.kind != p.VAR_POSITIONAL], function.name
    defaults = [ast.literal_eval(d) for d in arguments.defaults + [d for d in arguments.kw_defaults if d]]
    assert defaults == [p.default for p in signature.values() if p.default is not p.empty] or any(
        isinstance(d, ast.Name) and d.id == "overload" for d in function.decorator_list), function.name


def test_stub_and_package_agree():
    functions = {node.name: node for node in STUB.body if isinstance(node, ast.FunctionDef)}
    classes = {node.name: node for node in STUB.body if isinstance(node, ast.ClassDef) and not node.name.startswith("_")}
    assert set(functions) | set(classes) == set(nx.__all__) | {"Fields"}
    for name, function in functions.items():
        check_function(function, getattr(nx, name))
    for name, node in classes.items():
        real = getattr(nx, name, None) or type(nx.Molecule().fields)
        said = {item.name: item for item in node.body if isinstance(item, ast.FunctionDef)}
        for method, item in said.items():
            if item.decorator_list:
                assert isinstance(getattr(real, method), property)
            else:
                check_function(item, getattr(real, method))
        public = {key for key, value in vars(real).items()
                  if not key.startswith("_") and (callable(value) or isinstance(value, property))}
        assert public <= set(said), (name, public - set(said))


def test_everything_has_a_docstring_with_its_sections():
    for name in nx.__all__:
        item = getattr(nx, name)
        doc = inspect.getdoc(item)
        assert doc, name
        if inspect.isfunction(item) and inspect.signature(item).parameters and name != "moments":
            for section in ("Parameters", "Returns") if name not in ("iter_records", "read_bytes", "write", "write_bytes",
                                                                      "to_gemmi") else ():
                assert f"{section}\n---" in doc, (name, section)
