"""The reference of the Python package, made of its docstrings and of the comments of its members.

The source is read, not imported, as importing it would want the library. A public name that nothing is said of is an error.
"""
import ast
import html
import io
import os
import re
import tokenize

# What a reader looks for first.
MODULES = ["library", "jobs", "specifications", "components", "records", "connections", "databases", "objects", "ledger",
           "errors", "_values"]
TYPES = [("library", "Ask"), ("library", "OpenSource"), ("library", "Path"), ("records", "Row"), ("components", "Record")]


class Undocumented(Exception):
    """Names of the interface that nothing is said of."""


class Module:
    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.source = file.read()
        self.tree = ast.parse(self.source)
        # By line: what a comment says, and whether it stands alone.
        self.comments = {}
        for token in tokenize.generate_tokens(io.StringIO(self.source).readline):
            if token.type == tokenize.COMMENT:
                alone = token.line[: token.start[1]].strip() == ""
                self.comments[token.start[0]] = (token.string.lstrip("# ").strip(), alone)

    def comment_of(self, node):
        """Behind a declaration, or in the lines directly above it."""
        behind = self.comments.get(node.end_lineno)
        if behind and not behind[1]:
            return behind[0]
        lines, line = [], node.lineno - 1
        while line in self.comments and self.comments[line][1]:
            lines.insert(0, self.comments[line][0])
            line -= 1
        return " ".join(lines)


def in_html(text):
    return re.sub(r"`([^`]+)`", r"<code>\1</code>", html.escape(text, quote=False))


def paragraphs(text):
    out = []
    for part in re.split(r"\n\s*\n", text):
        if part.startswith("    "):
            out.append(f"<pre><code>{html.escape(part)}</code></pre>")
        else:
            out.append(f"<p>{in_html(' '.join(part.split()))}</p>")
    return "\n".join(out)


def signature(name, function, is_method):
    arguments = function.args
    if is_method:
        arguments = ast.arguments(**{**dict(ast.iter_fields(arguments)), "args": arguments.args[1:]})
    returns = "" if function.returns is None or name == "__init__" else f" -> {ast.unparse(function.returns)}"
    # Annotated defaults are written with blanks, as people do.
    parameters = ast.unparse(arguments).replace("=", " = ")
    if len(name) + len(parameters) + len(returns) > 90:
        parameters = "\n    " + re.sub(r", (?=\*|\w+(?::|=|$)|\*\w+)", ",\n    ", parameters) + "\n"
    return f"{name}({parameters}){returns}"


class Reference:
    def __init__(self, folder):
        self.modules = {name: Module(os.path.join(folder, f"{name}.py")) for name in MODULES + ["__init__"]}
        package = self.modules["__init__"]
        self.public = {alias.name: node.module for node in package.tree.body
                       if isinstance(node, ast.ImportFrom) and node.module for alias in node.names}
        self.missing = []

    def told(self, name, text):
        if not text:
            self.missing.append(name)
        return text or ""

    def rows(self, module, owner, nodes):
        """Members that have a value or a type, and no code."""
        rows = []
        for node in nodes:
            target = node.target if isinstance(node, ast.AnnAssign) else node.targets[0]
            kind = ast.unparse(node.annotation) if isinstance(node, ast.AnnAssign) else ""
            value = f" = {ast.unparse(node.value)}" if node.value is not None else ""
            text = self.told(f"{owner}.{target.id}", module.comment_of(node))
            declared = target.id + (f": {kind}" if kind else "") + value
            rows.append(f"<tr><td><code>{html.escape(declared)}</code></td><td>{in_html(text)}</td></tr>")
        return "<table>\n" + "\n".join(rows) + "\n</table>" if rows else ""

    def function(self, owner, node):
        name = node.name if owner is None else f"{owner}.{node.name}"
        text = self.told(name, ast.get_docstring(node))
        decorators = {ast.unparse(decorator) for decorator in node.decorator_list}
        if "property" in decorators:
            shown = f"{node.name}: {ast.unparse(node.returns)}"
        else:
            shown = signature(node.name, node, owner is not None and "staticmethod" not in decorators)
            if "contextlib.contextmanager" in decorators:
                shown = "with " + re.sub(r" -> .*$", "", shown)
        return f'<dt id="{name}"><pre><code>{html.escape(shown)}</code></pre></dt>\n<dd>{paragraphs(text)}</dd>'

    def class_(self, module, node):
        text = self.told(node.name, ast.get_docstring(node))
        bases = [ast.unparse(base) for base in node.bases]
        of = [f'<a href="#{base}">{base}</a>' if base in self.public else html.escape(base) for base in bases
              if base not in ("Calls", "NamedTuple", "Protocol")]
        out = [f'<h3 id="{node.name}">{node.name}{" (" + ", ".join(of) + ")" if of else ""}</h3>', paragraphs(text)]
        for member in node.body:
            if isinstance(member, ast.FunctionDef) and member.name == "__init__" and node.name != "Object":
                made = html.escape(signature(node.name, ast.FunctionDef(**{**dict(ast.iter_fields(member)),
                                                                           "returns": None}), True))
                out.append(f"<pre><code>{made}</code></pre>")
        out.append(self.rows(module, node.name, [
            member for member in node.body if isinstance(member, (ast.AnnAssign, ast.Assign)) and not
            (member.target if isinstance(member, ast.AnnAssign) else member.targets[0]).id.startswith("_")]))
        members = [self.function(node.name, member) for member in node.body
                   if isinstance(member, ast.FunctionDef) and not member.name.startswith("_")]
        if members:
            out.append("<dl>\n" + "\n".join(members) + "\n</dl>")
        return "\n".join(part for part in out if part)

    def type_(self, module, name):
        module = self.modules[module]
        (node,) = [node for node in module.tree.body if isinstance(node, ast.Assign) and node.targets[0].id == name]
        text = self.told(name, module.comment_of(node))
        return (f'<dt id="{name}"><pre><code>{html.escape(f"{name} = {ast.unparse(node.value)}")}</code></pre></dt>'
                f"<dd>{paragraphs(text)}</dd>")

    def page(self):
        out = ["<h1>Python reference</h1>",
               f"<p>All of the package <code>kestrel_import</code>; <a href=\"python.html\">its guide</a> shows how it is "
               "used.</p>"]
        index = ", ".join(f'<a href="#{name}">{name}</a>' for name in sorted(self.public, key=str.lower)
                          if name != "_native" and not name.startswith("__"))
        out.append(f"<p>{index}</p>")
        for name in MODULES:
            module = self.modules[name]
            classes = [node for node in module.tree.body if isinstance(node, ast.ClassDef) and node.name in self.public]
            # What is worked with stands before the rows and words that it hands out.
            classes.sort(key=lambda node: any(ast.unparse(base) in ("NamedTuple", "Enum") for base in node.bases))
            if not classes:
                continue
            out.append(f"<h2>{html.escape(ast.get_docstring(module.tree).split(chr(10))[0].rstrip('.'))}</h2>")
            out += [self.class_(module, node) for node in classes]
        types = [self.type_(module, name) for module, name in [("_values", "Value")] + TYPES]
        functions = [self.function(None, node) for node in self.modules["__init__"].tree.body
                     if isinstance(node, ast.FunctionDef)]
        out.append("<h2>Types of arguments, and the version</h2>\n<dl>" + "\n".join(types + functions) + "</dl>")
        if self.missing:
            raise Undocumented("nothing is said of: " + ", ".join(self.missing))
        return "\n".join(out)
