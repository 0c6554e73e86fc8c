# shellcheck shell=bash
# Configuring, building and testing one preset. Sourced by ./dev after say.sh.

# Objects made in one clone serve another.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

build_folder() {
  case $1 in
    windows) echo "$root/out/windows-build" ;;
    *) echo "$root/out/$1" ;;
  esac
}

# build PRESET [TARGET...]
build() {
  attempt_build "$@"
  [[ $step_status == 0 ]] || exit 1
}

# The same for those who go on after a failure: leaves the result in step_status.
attempt_build() {
  local preset=$1 folder
  shift
  folder=$(build_folder "$preset")
  if [[ ! -f $folder/build.ninja || $root/CMakePresets.json -nt $folder/build.ninja ]]; then
    attempt "configure $preset" "rm -r ${folder#"$root"/}, then try again" \
      cmake --preset "$preset" -S "$root"
    if [[ $step_status != 0 ]]; then return; fi
    touch "$folder/build.ninja"
  fi
  attempt "build $preset${*:+: $*}" "mend the first error above; run again with: ./dev build $preset" \
    ninja -C "$folder" -j"$(nproc)" -k 20 "${@:-all}"
}

# attempt_tests PRESET: runs the built tests, shows their closing lines, leaves the result in
# step_status.
attempt_tests() {
  local preset=$1 runner=()
  export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
  export UBSAN_OPTIONS=print_stacktrace=1
  export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$root/cmake/tsan.supp
  if [[ $preset == windows ]]; then start_wine; fi
  # The thread sanitizer wants its addresses where newer kernels put other things at random.
  if [[ $preset == tsan ]] && setarch -R true 2>/dev/null; then runner=(setarch -R); fi
  attempt "test $preset" \
    "run one alone with: ctest --test-dir $(build_folder "$preset" | sed "s|^$root/||") -R <name> --output-on-failure" \
    "${runner[@]}" ctest --test-dir "$(build_folder "$preset")" -j"$(nproc)" --timeout 300 \
    --no-tests=error --output-on-failure
  if [[ $preset == windows ]]; then stop_wine; fi
  sed -n '/tests passed,/,$p' "$step_log" | sed '/^$/d; s/^/    /'
}

# One server for the whole run instead of one for each program, and Wine's own services with it:
# started by a test they would keep its output open, and CTest would wait for them. A server that
# runs already can't be told to stay, so the one that made the prefix goes first.
start_wine() {
  "$root/scripts/wine" cmd /c exit >/dev/null 2>&1 </dev/null || true
  stop_wine
  WINEPREFIX=$root/out/wine WINEDEBUG=-all wineserver -p >/dev/null 2>&1 ||
    say "Wine's server doesn't stay; tests may have to wait for it"
  "$root/scripts/wine" cmd /c exit >/dev/null 2>&1 </dev/null || true
}

stop_wine() { WINEPREFIX=$root/out/wine wineserver -k || true; }
