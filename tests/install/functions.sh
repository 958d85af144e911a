# What the scripts beside this share. $log is the file for what a command says.

# quiet COMMAND...: has nothing to say unless it fails, which ends the script.
quiet() {
  "$@" >"$log" 2>&1 && return
  cat "$log"
  exit 1
}

fail() {
  echo "$*"
  exit 1
}

# same GOT WANTED
same() {
  [ "$1" = "$2" ] || fail "got
$1
not
$2"
}
