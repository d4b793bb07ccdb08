"""What the compiler makes of the console object's functions: whom each calls, which fields it writes, which bytes it compares."""
import json
import re
import subprocess

CLANG = "clang++-19"
READS = ("load",)  # the helper that only reads the field it is given


class Function:
    def __init__(self, name, constants):
        self.name = name
        self.constants = constants
        self.calls = set()
        self.writes = set()
        self.compared = set()  # what bytes are compared with: texts of constants


def functions(root, file, constants=()):
    """{name: Function} of the members of the class Console that the file defines; overloads count as one. `constants`: the
    names that may be a byte in a comparison."""
    dumped = subprocess.run([CLANG, "-std=c++20", f"-I{root}", "-fsyntax-only", "-Xclang", "-ast-dump=json", "-Xclang",
                             "-ast-dump-filter=Console::", root / file], capture_output=True, text=True)
    if dumped.returncode:
        raise SystemExit(f"{file}: {dumped.stderr[-2000:]}")
    found, text, at = {}, dumped.stdout, 0
    decoder = json.JSONDecoder()
    while (at := text.find("{", at)) >= 0:
        node, at = decoder.raw_decode(text, at)
        if node["kind"] in ("CXXMethodDecl", "CXXDestructorDecl", "CXXConversionDecl") and "inner" in node:
            function = found.setdefault(node["name"], Function(node["name"], constants))
            is_const = node.get("type", {}).get("qualType", "").endswith(" const")
            for inner in node["inner"]:
                if inner.get("kind") == "CompoundStmt":
                    walk(inner, [], function, is_const)
    return found


def walk(node, above, function, is_const):
    """Notes what the node does; `above` are the nodes that it is within, the nearest last."""
    kind = node.get("kind")
    if kind in ("MemberExpr", "DeclRefExpr"):
        name = name_of(node)
        if is_callee(node, above):
            function.calls.add(name)
        elif re.fullmatch(r"[ms]_\w+|[A-Z]\w+|last_button_index", name) and writes(node, above, is_const):
            function.writes.add(name)
    if kind == "BinaryOperator" and node["opcode"] in ("==", "!=", "<", "<=", ">", ">=", "&", "|", "^", "-", "%"):
        note_comparison(node, function)
    if kind == "SwitchStmt" and is_byte(node["inner"][0]):
        function.compared.add("a switch")
    for inner in node.get("inner", ()):
        if inner:
            walk(inner, [*above, node], function, is_const)


def name_of(node):
    return node["name"].lstrip("->.") if node["kind"] == "MemberExpr" else node.get("referencedDecl", {}).get("name", "")


def is_callee(node, above):
    """True for the text before the bracket of a call."""
    for outer in reversed(above):
        if outer["kind"] in ("ImplicitCastExpr", "ParenExpr"):
            node = outer
            continue
        return outer["kind"] in ("CallExpr", "CXXMemberCallExpr", "CXXOperatorCallExpr") and outer["inner"][0] is node
    return False


def writes(node, above, is_const):
    """True unless the field can only be read here: its value taken, bound as constant, or given to `load`."""
    if "const" in node.get("type", {}).get("qualType", "").split():
        return False
    for outer in reversed(above):
        kind = outer["kind"]
        if kind == "ImplicitCastExpr" and outer.get("castKind") == "LValueToRValue":
            return False
        if kind == "ImplicitCastExpr" and "const" in outer.get("type", {}).get("qualType", "").split():
            return False
        if kind == "CXXConstCastExpr":
            return not is_const
        if kind == "CallExpr":
            called = callee(outer)
            return called not in READS
        if kind == "CXXOperatorCallExpr":
            # "=" writes its left side alone.
            return callee(outer) == "operator=" and outer["inner"][1] is node
        if kind in ("ImplicitCastExpr", "ParenExpr", "ArraySubscriptExpr", "MemberExpr"):
            if kind == "ArraySubscriptExpr" and outer["inner"][0] is not node:
                return False  # an index
            node = outer
            continue
        return kind not in ("UnaryExprOrTypeTraitExpr",)
    return True


def callee(call):
    """The name of the called function, or nothing."""
    node = call["inner"][0]
    while node.get("kind") in ("ImplicitCastExpr", "ParenExpr"):
        node = node["inner"][0]
    return name_of(node) if node.get("kind") in ("DeclRefExpr", "MemberExpr") else ""


def stripped(node):
    while node.get("kind") in ("ImplicitCastExpr", "ParenExpr", "ConstantExpr", "CXXStaticCastExpr") and "inner" in node:
        node = node["inner"][0]
    return node


def is_byte(node):
    return stripped(node).get("type", {}).get("qualType", "").replace("const ", "") in ("char", "unsigned char", "signed char",
                                                                                         "std::uint8_t", "uint8_t")


def note_comparison(node, function):
    left, right = node["inner"]
    if not is_byte(left) and not is_byte(right):
        return
    sides = [constant(side, function.constants) for side in (left, right)]
    known = [side for side in sides if side is not None]
    function.compared.add(known[0] if node["opcode"] in ("==", "!=") and len(known) == 1 else f"something by {node['opcode']}")


def constant(node, names):
    """A constant as a number, or one of the names; None for anything else."""
    node = stripped(node)
    if node.get("kind") in ("CharacterLiteral", "IntegerLiteral"):
        return str(node["value"])
    name = node.get("referencedDecl", {}).get("name") if node.get("kind") == "DeclRefExpr" else None
    return name if name in names else None
