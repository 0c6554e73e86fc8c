# shellcheck shell=bash
# The checks that look at the sources themselves. Sourced by ./dev after say.sh and build.sh.

# Our C++ files, those not yet added to the repository included.
our_files() { (cd "$root" && git ls-files -co --exclude-standard -- '*.cpp' '*.h' | sort | existing); }

existing() {
  local file
  while read -r file; do [[ -f $file ]] && echo "$file"; done
}

check_format() {
  (cd "$root" && our_files | xargs clang-format-14 --dry-run --Werror)
}

format_all() {
  (cd "$root" && our_files | xargs clang-format-14 -i)
}

# The rooms for what differs between platforms: src/platform, and the binary contract's header.
check_platform_rooms() {
  local conditionals headers
  cd "$root" || return
  conditionals=$(our_files | grep '^src/' | grep -vE '^src/platform/|^src/_base/abi\.h$' |
    xargs grep -nE '^\s*#\s*(if|ifdef|ifndef|elif).*(_WIN32|_WIN64|__linux__|_MSC_VER|__MINGW32__)' || true)
  headers=$(our_files | grep '^src/' | grep -vE '^src/platform/windows/[^ ]*\.cpp$' |
    xargs grep -niE '^\s*#\s*include\s*<windows\.h>' || true)
  if [[ -n $conditionals$headers ]]; then
    printf '%s\n' "$conditionals" "$headers"
    return 1
  fi
}

# Includes run downwards; the module never looks into the kit or the tests.
check_include_direction() {
  local upward
  cd "$root" || return
  upward=$({
    grep -rnE '#include "(devkit|tests|support|bench|fuzz)/' src
    grep -rnE '#include "(_base|frame|cloud|guardian|connect|push)/' src/platform
    grep -rnE '#include "(cloud|guardian|connect|push)/' src/_base src/frame
    grep -rnE '#include "(connect|push)/' src/cloud src/guardian
  } || true)
  if [[ -n $upward ]]; then
    printf '%s\n' "$upward"
    return 1
  fi
}

# clang-tidy over the files that changed, or whose headers did, since they last passed: a file's mark
# is named after its own text, that of everything of ours it includes, and the rules.
lint() {
  local build=$root/out/clang marks=$root/out/lint rules
  mkdir -p "$marks"
  rules=$(cat "$root/.clang-tidy" "$root/cmake/compile_options.cmake" | sha256sum | cut -c1-64)
  cd "$build" || return
  ninja -t deps |
    RULES=$rules awk -v root="$root/" '
      function flush() { if (source != "") print source "|" files; source = files = "" }
      /: #deps / { flush(); next }
      NF == 1 {
        path = $1
        sub(/^\.\.\/\.\.\//, root, path)  # as the compiler cache makes them
        if (index(path, root) != 1 || index(path, root "out/") == 1) next
        path = substr(path, length(root) + 1)
        if (source == "") source = path
        files = files " " path
      }
      END { flush() }' |
    grep -E '^(src|devkit|tests/support|fuzz)/[^|]*\.cpp\|' | sort -u >"$marks/sources"
  cd "$root" || return
  if [[ ! -s $marks/sources ]]; then
    echo "no source found to lint: is out/clang built?"
    return 1
  fi
  while IFS='|' read -r source files; do
    # shellcheck disable=SC2086  # a list of paths without spaces
    mark=$marks/$(cat $files 2>/dev/null | cat - <(echo "$rules $source") | sha256sum | cut -c1-64)
    [[ -f $mark ]] || echo "$source $mark"
  done <"$marks/sources" >"$marks/todo"
  xargs -r -P "$(nproc)" -n 2 -a "$marks/todo" bash -c '
    output=$(clang-tidy-14 --quiet -p "$0" "$1" 2>/dev/null) && touch "$2" || { printf "%s\n" "$output"; exit 1; }
  ' "$build"
}
