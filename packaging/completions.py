"""The completions of bash, zsh and fish for a tree of commands (see command_texts.py).

Each knows the same: commands behind commands, the options of the command that is typed, the values that an option may
have, and files, folders and specifications where these are meant.
"""

import copy

# What a value is, by the word that stands for it in the help.
KINDS = {"DATEI": "file", "VERBINDUNG": "file", "ORDNER": "folder", "SPEC": "specification"}


def kind(option):
    return KINDS.get(option["positional"] or option["value"], "text")


def below(tree, path=()):
    """(path, command) of `tree` and every command below it."""
    yield path, tree
    for command in tree["commands"]:
        yield from below(command, path + (command["name"],))


def with_command_names(tree):
    """The tree; what is the name of a command may have their names as values."""
    tree = copy.deepcopy(tree)
    names = [command["name"] for command in tree["commands"]]
    for _, command in below(tree):
        for option in placed(command):
            if option["positional"] == "BEFEHL":
                option["values"] = names
    return tree


def named(command):
    return [option for option in command["options"] if option["names"]]


def placed(command):
    return [option for option in command["options"] if not option["names"]]


# --- bash ---

BASH = """# Completion of kestrel-import for bash; written from the program's own commands.

# Specifications: their names in the component's folder, and files.
_kestrel_import_specifications() {
  local folder=${KESTREL_HOME:-${XDG_DATA_HOME:-$HOME/.local/share}/kestrel-import}/Import file
  local -a names=()
  for file in "$folder"/*.[Ii][Mm][Pp]; do
    [[ -e $file ]] || continue
    file=${file##*/}
    names+=("${file%.*}")
  done
  mapfile -t COMPREPLY < <(
    for file in "${names[@]}"; do [[ $file == "$1"* ]] && printf '%s\\n' "$file"; done
    compgen -f -X '!*.[Ii][Mm][PpTt]' -- "$1"
    compgen -d -- "$1")
  compopt -o filenames 2>/dev/null
}

_kestrel_import_value() {
  case $1 in
    file) mapfile -t COMPREPLY < <(compgen -f -- "$2"); compopt -o filenames 2>/dev/null ;;
    folder) mapfile -t COMPREPLY < <(compgen -d -- "$2"); compopt -o filenames 2>/dev/null ;;
    specification) _kestrel_import_specifications "$2" ;;
    words) mapfile -t COMPREPLY < <(compgen -W "$3" -- "$2") ;;
  esac
}

# What stands in front of the value is left in `prefix`.
_kestrel_import_offer() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= word
  local -i i place=0
  COMPREPLY=()
  # "--format=js" arrives as three words; as one where somebody has taken "=" out of COMP_WORDBREAKS.
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD-2]}
  elif [[ $current == --*=* ]]; then
    previous=${current%%=*}
    prefix=$previous=
    current=${current#*=}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    case "$command/$word" in
@PATHS@
      *) case $word in
@SKIPPED@
        -* | =) ;;
        *) place+=1 ;;
      esac ;;
    esac
  done
  case "$command $previous" in
@VALUES@
  esac
  case "$previous" in
@COMMON@
  esac
  if [[ $current == -* ]]; then
    case $command in
@OPTIONS@
    esac
    return
  fi
  case "$command $place" in
@PLACES@
  esac
}
_kestrel_import() {
  local prefix=
  _kestrel_import_offer
  COMPREPLY=("${COMPREPLY[@]/#/$prefix}")
}
complete -F _kestrel_import kestrel-import
"""


def bash_value(option):
    words = " ".join(option["values"])
    return f"_kestrel_import_value {'words' if words else kind(option)} \"$current\"" + (f" '{words}'" if words else "")


def bash(tree):
    tree = with_command_names(tree)
    paths, values, options, places, skipped = [], [], [], [], set()
    common = " ".join(name for option in named(tree) for name in option["names"])
    for path, command in below(tree):
        where = "/".join(path)
        if path:
            paths.append(f"      '{'/'.join(path[:-1])}/{path[-1]}') command='{where}' place=0 ;;")
        own = " ".join(name for option in named(command) for name in option["names"])
        names = " ".join(dict.fromkeys(f"{own} {common}".split()))
        options.append(f"      '{where}') mapfile -t COMPREPLY < <(compgen -W '{names}' -- \"$current\") ;;")
        for option in named(command):
            if not option["takesValue"]:
                continue
            skipped.update(option["names"])
            if path:
                pattern = " | ".join(f"'{where} {name}'" for name in option["names"])
                values.append(f"    {pattern}) {bash_value(option)}; return ;;")
        if command["commands"]:
            words = " ".join(sub["name"] for sub in command["commands"])
            places.append(f"    '{where} 0') _kestrel_import_value words \"$current\" '{words}' ;;")
        else:
            for place, option in enumerate(placed(command)):
                places.append(f"    '{where} {place}') {bash_value(option)} ;;")
    shared = [f"    {' | '.join(option['names'])}) {bash_value(option)}; return ;;"
              for option in named(tree) if option["takesValue"]]
    skip = f"        {' | '.join(sorted(skipped))}) [[ ${{COMP_WORDS[i+1]}} == = ]] && i+=1; i+=1 ;;"
    text = BASH
    for mark, lines in (("PATHS", paths), ("SKIPPED", [skip]), ("VALUES", values), ("COMMON", shared),
                        ("OPTIONS", options), ("PLACES", places)):
        text = text.replace(f"@{mark}@", "\n".join(lines))
    return text


# --- zsh ---

ZSH_VALUES = {"file": "_files", "folder": "_files -/", "specification": "_kestrel-import-specifications", "text": " "}

ZSH = """#compdef kestrel-import
# Completion of kestrel-import for zsh; written from the program's own commands.

_kestrel-import-specifications() {
  local folder=${KESTREL_HOME:-${XDG_DATA_HOME:-$HOME/.local/share}/kestrel-import}/Import
  local -a names=($folder/*.(#i)imp(N:t:r))
  _alternative "specifications:Spezifikation:compadd -a names" "files:Datei:_files -g '*.(#i)im[pt]'"
}

@FUNCTIONS@
_kestrel-import "$@"
"""


def zsh_text(text):
    for mark in "\\[]:":
        text = text.replace(mark, "\\" + mark)
    return text.replace("'", "'\\''")


def zsh_action(option):
    if option["values"]:
        return f"({' '.join(option['values'])})"
    return ZSH_VALUES[kind(option)]


def zsh_specs(command, also):
    """The options of a command and those that hold for all, and its places, as _arguments takes them."""
    specs = []
    for option in named(command) + [o for o in also if o not in named(command)]:
        told = f"[{zsh_text(option['description'])}]"
        if option["takesValue"]:
            told += f":{zsh_text(option['value'] or 'WERT')}:{zsh_action(option)}"
        names = option["names"]
        equals = "=" if option["takesValue"] else ""
        head = [f"{name}{equals if name.startswith('--') else ''}" for name in names]
        excluded = f"({' '.join(names)})" if len(names) > 1 else ""
        specs += [f"'{excluded}{name}{told}'" for name in head]
    return specs


def zsh(tree):
    tree = with_command_names(tree)
    functions = []
    for path, command in below(tree):
        name = "_kestrel-import" + "".join(f"-{word}" for word in path)
        specs = zsh_specs(command, named(tree))
        lines = [f"{name}() {{"]
        if command["commands"]:
            lines += ["  local curcontext=$curcontext state line", "  local -a commands=("]
            lines += [f"    '{zsh_text(sub['name'])}:{zsh_text(sub['description'])}'" for sub in command["commands"]]
            lines += ["  )", "  _arguments -C \\"] + [f"    {spec} \\" for spec in specs]
            lines += ["    '1:Befehl:->command' '*::Angabe:->rest'", "  case $state in",
                      "    command) _describe -t commands Befehl commands ;;", "    rest)", "      case $words[1] in"]
            lines += [f"        {sub['name']}) {name}-{sub['name']} ;;" for sub in command["commands"]]
            lines += ["      esac ;;", "  esac"]
        else:
            for place, option in enumerate(placed(command), 1):
                optional = "" if option["required"] else ":"
                specs.append(f"'{place}{optional}:{zsh_text(option['positional'])}:{zsh_action(option)}'")
            lines += ["  _arguments \\"] + [f"    {spec} \\" for spec in specs[:-1]] + [f"    {specs[-1]}"]
        functions += lines + ["}", ""]
    return ZSH.replace("@FUNCTIONS@", "\n".join(functions))


# --- fish ---

FISH = """# Completion of kestrel-import for fish; written from the program's own commands.

function __kestrel_import_specifications
    set -l home $KESTREL_HOME
    test -n "$home"; or set home $XDG_DATA_HOME/kestrel-import
    test -n "$KESTREL_HOME$XDG_DATA_HOME"; or set home $HOME/.local/share/kestrel-import
    for file in $home/Import/*.IMP $home/Import/*.imp
        string replace -ri '\\\\.imp$' '' (basename $file)
    end
    __fish_complete_suffix .IMP
end

complete -c kestrel-import -f
"""


def fish_text(text):
    return text.replace("\\", "\\\\").replace("'", "\\'")


def fish_value(option):
    if option["values"]:
        return f" -x -a '{' '.join(option['values'])}'"
    return {"file": " -r -F", "folder": " -x -a '(__fish_complete_directories)'",
            "specification": " -x -a '(__kestrel_import_specifications)'", "text": " -x"}[kind(option)]


def fish(tree):
    tree = with_command_names(tree)
    lines = []
    for path, command in below(tree):
        seen = "; and ".join(f"__fish_seen_subcommand_from {word}" for word in path)
        condition = f" -n '{seen}'" if path else ""
        for option in named(command):
            names = "".join(f" -l {name[2:]}" if name.startswith("--") else f" -s {name[1:]}"
                            for name in option["names"])
            value = fish_value(option) if option["takesValue"] else ""
            lines.append(f"complete -c kestrel-import{condition}{names}{value} -d '{fish_text(option['description'])}'")
        words = " ".join(sub["name"] for sub in command["commands"])
        for sub in command["commands"]:
            first = f"{seen + '; and ' if seen else ''}not __fish_seen_subcommand_from {words}"
            lines.append(f"complete -c kestrel-import -n '{first}' -a {sub['name']} -d '{fish_text(sub['description'])}'")
        for option in placed(command)[:1] if not command["commands"] else []:
            told = fish_value(option).replace(" -x", "").replace(" -r", "")
            if told:
                lines.append(f"complete -c kestrel-import{condition}{told}")
    return FISH + "\n".join(lines) + "\n"
