#!/bin/sh
# Hardening.sh FILE...: every program and library was built with the flags that make faults harder to
# use: no executable stack, no text relocations, all symbols bound at once and read-only from then on,
# stacks and the C library's copying functions guarded, code at addresses of no one's choice.
set -eu
status=0
for file; do
  dynamic=$(readelf -dW "$file")
  segments=$(readelf -lW "$file")
  symbols=$(readelf -sW --dyn-syms "$file")
  demand() {
    printf '%s' "$3" | grep -qE "$2" && return
    echo "$file: $1"
    status=1
  }
  demand "no read-only relocations" GNU_RELRO "$segments"
  demand "the stack can be executed" 'GNU_STACK.* RW ' "$segments"
  demand "symbols are bound late" BIND_NOW "$dynamic"
  demand "stacks are not guarded" __stack_chk_fail "$symbols"
  # The libraries call none that could be.
  case $file in
    *.so*) ;;
    *) demand "copying functions are not guarded" '_chk@' "$symbols" ;;
  esac
  demand "at fixed addresses" 'Type: +DYN' "$(readelf -hW "$file")"
  if printf '%s' "$dynamic" | grep -q TEXTREL; then
    echo "$file: text relocations"
    status=1
  fi
done
exit $status
