# shellcheck shell=bash
# How the scripts talk: one line per step, quiet otherwise, and a failing step says how to mend it.
# Sourced by ./dev; expects $root.

logs=$root/out/logs

say() { printf '==> %s\n' "$*"; }

die() {
  printf 'dev: %s\n' "$*" >&2
  exit 1
}

# step TEXT HINT COMMAND...: runs the command with its output in a log. If it fails, shows the end of
# the log, then HINT, and ends the script.
step() {
  attempt "$@"
  [[ $step_status == 0 ]] || exit 1
}

# The same for those who want to go on after a failure: leaves the result in step_status. It must not
# be called in a condition, since bash then ignores "set -e" in everything below it.
attempt() {
  local text=$1 hint=$2 started=$SECONDS
  shift 2
  step_log=$logs/$(tr -cs '[:alnum:]\n' '-' <<<"$text" | cut -c1-60).log
  mkdir -p "$logs"
  say "$text"
  set +e
  (
    set -e
    "$@"
  ) >"$step_log" 2>&1 </dev/null
  step_status=$?
  set -e
  if [[ $step_status == 0 ]]; then return; fi
  essence <"$step_log" | tail -n 80 >&2
  printf '\ndev: failed after %d s: %s\n  whole output: %s\n  to mend it:   %s\n' \
    $((SECONDS - started)) "$text" "${step_log#"$root"/}" "$hint" >&2
  return 0
}

# What went well is of no interest after a failure.
essence() {
  grep -vE '^ +Start +[0-9]+: |  Passed +[0-9.]+ sec$|^\[(       OK|----------| RUN      |==========)|^\[[0-9]+/[0-9]+\] |^$' || true
}
