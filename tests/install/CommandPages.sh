#!/bin/sh
# CommandPages.sh NVIMPORT PAGES: every command, option and fixed value of --help stands in the manual page
# and in each completion, and the tools concerned find no fault in them. Those that are not there are
# passed over.
set -eu
nvimport=$1
. "$(dirname "$0")/functions.sh"
cd "$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# quiet COMMAND...: runs it where it is there; it must have nothing to say.
quiet() {
  command -v "$1" >/dev/null || return 0
  "$@" >"$work/said" 2>&1 && [ ! -s "$work/said" ] || fail "$* says: $(cat "$work/said")"
}
quiet groff -ww -man -z nvimport.1
quiet bash -n nvimport.bash
quiet zsh -n _nvimport
quiet fish -n nvimport.fish

# complete_in SHELL LINE: what the shell offers behind the line, one a line.
complete_in() {
  case $1 in
  bash) bash -c '. ./nvimport.bash
      COMP_WORDS=($1 "$2") COMP_CWORD=$(($(set -- $1; echo $#)))
      _nvimport
      printf "%s\n" "${COMPREPLY[@]}"' - "$2" "$3" ;;
  fish) fish --no-config -c '. nvimport.fish; complete -C "$argv[1]"' "$2 $3" | cut -f 1 ;;
  esac
}

# options COMMAND: those of its --help, one a line.
options() {
  "$nvimport" "$1" --help | grep -oE '^  (-.,)?--[a-z-]+' | grep -oE -- '--.*'
}

commands=$("$nvimport" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p')
[ "$(echo "$commands" | wc -l)" -ge 7 ] || fail "--help lists too few commands: $commands"
for shell in bash fish; do
  command -v $shell >/dev/null || continue
  for command in $commands; do
    complete_in $shell nvimport "$command" | grep -qx "$command" || fail "$shell: no $command"
    complete_in $shell "nvimport $command" -- >"$work/offered"
    options "$command" | while read -r option; do
      grep -qxe "$option" "$work/offered" || fail "$shell: no $option for $command"
    done
  done
  for value in side below; do
    complete_in $shell "nvimport convert --merge" "$value" | grep -qx "$value" ||
      fail "$shell: no $value"
  done
  for value in jsonl 'DIF File(OEM)'; do
    complete_in $shell "nvimport convert x --to" '' | tr -d '\\' | grep -qxF "$value" ||
      fail "$shell: no $value"
  done
done

# The page and zsh's script, as they are read.
sed 's/\\-/-/g' nvimport.1 >"$work/page"
for command in $commands; do
  grep -q "^\\\\fBnvimport $command\\\\fR" "$work/page" || fail "the page lacks $command"
  sed -n "/^    $command)\$/,/;;/p" _nvimport >"$work/zsh"
  options "$command" | while read -r option; do
    grep -q "^\\\\fB.*$option\\\\fR" "$work/page" || fail "the page lacks $option"
    grep -qe "$option[=[]" "$work/zsh" || fail "zsh: no $option for $command"
  done
done
