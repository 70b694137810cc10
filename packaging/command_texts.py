#!/usr/bin/env python3
"""Writes what tells of the command line: its manual page, the completions of three shells, its reference.

    command_texts.py TREE VERSION FOLDER

TREE is what `kestrel-import --describe-commands` prints; FOLDER gets kestrel-import.1, kestrel-import.bash,
_kestrel-import, kestrel-import.fish and befehle.md. What no option can tell stands in kestrel-import.1.in beside this
file; @COMMANDS@ and @OPTIONS@ stand there for what the tree tells.
"""
import json
import os
import sys
import textwrap

import completions


def all_commands(tree, path=()):
    """(path, command) of every command below `tree`, in their order."""
    for command in tree["commands"]:
        below = path + (command["name"],)
        yield below, command
        yield from all_commands(command, below)


def shown_options(command):
    """Those of a command that its own help is not the only one to have."""
    return [option for option in command["options"] if "--help" not in option["names"]]


def usage(path, command):
    """How a command is typed, as one line."""
    words = ["kestrel-import", *path]
    for option in shown_options(command):
        if option["names"]:
            word = option["names"][-1] + (f" {option['value']}" if option["takesValue"] else "")
        else:
            word = option["positional"] + ("..." if option["repeated"] else "")
        words.append(word if option["required"] else f"[{word}]")
    if command["commands"]:
        words.append("BEFEHL")
    return " ".join(words)


def remarks(option):
    """The description, with what the parser holds beside it."""
    text = option["description"]
    others = [name for name in option["excludes"]]
    if others:
        text += f" (nicht mit {', '.join(others)})"
    return text


def roff(text):
    """A text as manual pages take it; a minus stays one when it is copied, and no line begins a request."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    lines = textwrap.wrap(text, 72, break_long_words=False, break_on_hyphens=False)
    return "\n".join("\\&" + line if line[:1] in (".", "'") else line for line in lines)


def sentence(text):
    return text.rstrip(".") + "."


def roff_options(command):
    lines = []
    for option in shown_options(command):
        names = ", ".join(f"\\fB{roff(name)}\\fR" for name in option["names"])
        value = option["positional"] or option["value"]
        if option["takesValue"]:
            names += (" " if names else "") + f"\\fI{roff(value)}\\fR"
        lines += [".TP", names, roff(remarks(option))]
    return lines


def manual_page(tree, version, frame):
    commands = []
    for path, command in all_commands(tree):
        typed = usage(path, command)[len("kestrel-import "):].replace("-", "\\-")
        commands += [f'.SS "{typed}"', roff(sentence(command["description"])), *roff_options(command)]
    for mark, lines in (("@COMMANDS@", commands), ("@OPTIONS@", roff_options(tree))):
        frame = frame.replace(mark, "\n".join(lines))
    return frame.replace("@VERSION@", version).replace("@DESCRIPTION@", roff(tree["description"]))


def markdown(text):
    return text.replace("|", "\\|").replace("<", "&lt;")


def markdown_options(command):
    options = shown_options(command)
    if not options:
        return []
    lines = ["| Angabe | Bedeutung |", "|---|---|"]
    for option in options:
        names = ", ".join(f"`{name}`" for name in option["names"])
        value = option["positional"] or option["value"]
        if option["takesValue"]:
            names += (" " if names else "") + f"`{value}`"
        needed = " **nötig**" if option["required"] else ""
        lines.append(f"| {names}{needed} | {markdown(remarks(option))} |")
    return lines + [""]


def reference(tree, version):
    lines = [f"# Befehle von kestrel-import {version}", "", tree["description"], "", "## Angaben zu jedem Befehl", ""]
    lines += markdown_options(tree)
    for path, command in all_commands(tree):
        lines += [f"## {' '.join(path)}", "", sentence(command["description"]), "", f"    {usage(path, command)}", ""]
        lines += markdown_options(command)
    return "\n".join(lines + ["## Am Ende", "", " ".join(tree["footer"].split()), ""])


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    with open(sys.argv[1], encoding="utf-8") as file:
        tree = json.load(file)
    version, folder = sys.argv[2:]
    with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "kestrel-import.1.in"), encoding="utf-8") as file:
        frame = file.read()
    texts = {
        "kestrel-import.1": manual_page(tree, version, frame),
        "kestrel-import.bash": completions.bash(tree),
        "_kestrel-import": completions.zsh(tree),
        "kestrel-import.fish": completions.fish(tree),
        "befehle.md": reference(tree, version),
    }
    os.makedirs(folder, exist_ok=True)
    for name, text in texts.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(text)


if __name__ == "__main__":
    main()
