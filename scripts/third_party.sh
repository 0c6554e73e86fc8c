# shellcheck shell=bash
# The libraries of the Windows build, cross-built from Debian's own sources (with Debian's patches,
# which carry the security fixes) into one prefix. Each is made once; its stamp holds what it was
# made from, so that a newer package or a changed recipe makes it anew.
# Sourced by ./dev; expects $root and say.sh.

third_party=$root/out/third-party
windows_prefix=$third_party/windows

third_party_ready() {
  prepare_third_party_folders
  install_once jansson "$(installed_version libjansson-dev)" build_jansson
  install_once googletest "$(installed_version googletest)" build_googletest
  install_once nlohmann-json "$(installed_version nlohmann-json3-dev)" copy_nlohmann_json
  install_once curl "$(installed_version libcurl4-openssl-dev)" build_curl
  install_once cpp-httplib "$(installed_version libcpp-httplib-dev)" copy_cpp_httplib
  install_once sqlite "$(installed_version libsqlite3-dev)" build_sqlite
  install_once mosquitto "$(installed_version libmosquitto-dev)" build_mosquitto
}

prepare_third_party_folders() {
  mkdir -p "$third_party"/{sources,build,apt/lists/partial,apt/archives/partial,stamps} "$windows_prefix"
}

installed_version() { dpkg-query -W -f '${source:Version}' "$1"; }

# install_once NAME VERSION FUNCTION
install_once() {
  local name=$1 stamp=$third_party/stamps/$1 wanted
  wanted="$2 $(declare -f "$3" cross_build | sha256sum)"
  [[ -f $stamp && $(<"$stamp") == "$wanted" ]] && return
  step "Windows libraries: $name" \
    "check the network and the disk, then run ./dev setup again; rm -r out/third-party starts afresh" \
    "$3"
  printf '%s' "$wanted" >"$stamp"
}

# A sources list and package lists of our own: the machine's configuration stays as it is.
private_apt() {
  local apt=$third_party/apt
  apt-get -q -o Dir::Etc::SourceList="$apt/sources.list" -o Dir::Etc::SourceParts=/dev/null \
    -o Dir::State::Lists="$apt/lists" -o Dir::Cache="$apt" -o Dir::Cache::Archives="$apt/archives" \
    -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= -o APT::Sandbox::User="$(id -un)" \
    -o Acquire::Retries=3 -o Acquire::Languages=none -o Debug::NoLocking=1 "$@"
}

# The machine's own mirror where its list is readable, Debian's otherwise.
write_source_list() {
  local mirror=http://deb.debian.org/debian security=http://deb.debian.org/debian-security found
  found=$(cat /etc/apt/sources.list /etc/apt/sources.list.d/*.{list,sources} 2>/dev/null || true)
  mirror=$(grep -oE 'https?://[^ ]*/debian/?( |$)' <<<"$found" | grep -v snapshot | head -n 1 || true)
  security=$(grep -oE 'https?://[^ ]*/debian-security/?( |$)' <<<"$found" | grep -v snapshot | head -n 1 || true)
  mirror=${mirror:-http://deb.debian.org/debian}
  security=${security:-http://deb.debian.org/debian-security}
  printf 'deb-src %s bookworm main\ndeb-src %s bookworm-updates main\ndeb-src %s bookworm-security main\n' \
    "$mirror" "$mirror" "$security" >"$third_party/apt/sources.list"
}

# fetch_source PACKAGE: leaves the patched tree in sources/PACKAGE.
fetch_source() {
  local package=$1 folder=$third_party/sources/$1
  if [[ ! -f $third_party/apt/fresh ]]; then
    write_source_list
    private_apt update
    touch "$third_party/apt/fresh"
  fi
  rm -rf "$folder" && mkdir -p "$folder.download"
  (cd "$folder.download" && private_apt source --download-only --only-source "$package")
  dpkg-source --no-check -x "$folder.download"/*.dsc "$folder"
  rm -rf "$folder.download"
}

# cross_build SOURCE NAME OPTION...: an ordinary release build of a CMake project into the prefix.
cross_build() {
  local source=$1 build=$third_party/build/$2
  shift 2
  rm -rf "$build"
  cmake -S "$source" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/windows.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$windows_prefix" -DCMAKE_INSTALL_LIBDIR=lib \
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
  cmake --build "$build" --target install
}

build_jansson() {
  fetch_source jansson
  cross_build "$third_party/sources/jansson" jansson -DJANSSON_BUILD_SHARED_LIBS=OFF \
    -DJANSSON_BUILD_DOCS=OFF -DJANSSON_EXAMPLES=OFF -DJANSSON_WITHOUT_TESTS=ON
}

build_googletest() { cross_build /usr/src/googletest googletest; }

copy_nlohmann_json() {
  mkdir -p "$windows_prefix"/{include,share/cmake}
  cp -r /usr/include/nlohmann "$windows_prefix/include/"
  cp -r /usr/share/cmake/nlohmann_json "$windows_prefix/share/cmake/"
}

# HTTP only. Schannel brings TLS without a library of our own, on Windows proper.
build_curl() {
  fetch_source curl
  cross_build "$third_party/sources/curl" curl -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DHTTP_ONLY=ON \
    -DCURL_USE_SCHANNEL=ON -DCURL_USE_LIBSSH2=OFF -DCURL_ZLIB=OFF -DUSE_LIBIDN2=OFF -DUSE_NGHTTP2=OFF \
    -DCURL_USE_LIBPSL=OFF -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DENABLE_MANUAL=OFF
}

# The packaged header is split in two and needs its shared library; the one in the sources is whole.
copy_cpp_httplib() {
  fetch_source cpp-httplib
  install -D -m 644 "$third_party/sources/cpp-httplib/httplib.h" "$windows_prefix/include/httplib.h"
}

# The package comes in hundreds of files that its own makefile puts together into one, with tclsh.
build_sqlite() {
  fetch_source sqlite3
  local build=$third_party/build/sqlite
  rm -rf "$build" && mkdir -p "$build"
  (cd "$build" && "$third_party/sources/sqlite3/configure" --disable-shared --disable-tcl >/dev/null &&
    make sqlite3.c sqlite3.h)
  x86_64-w64-mingw32-gcc-posix -O2 -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION \
    -c "$build/sqlite3.c" -o "$build/sqlite3.o"
  install -D -m 644 "$build/sqlite3.h" "$windows_prefix/include/sqlite3.h"
  rm -f "$windows_prefix/lib/libsqlite3.a"
  x86_64-w64-mingw32-ar crs "$windows_prefix/lib/libsqlite3.a" "$build/sqlite3.o"
}

# The client library and the broker itself, so that the Windows kit needs nothing of the machine's.
# WITH_THREADING as an option would look for a threads library at a fixed place; the definition
# alone serves, with mingw's own. There is no TLS, everything stays on one machine.
build_mosquitto() {
  fetch_source mosquitto
  cross_build "$third_party/sources/mosquitto" mosquitto -DWITH_TLS=OFF -DWITH_THREADING=OFF \
    -DCMAKE_C_FLAGS=-DWITH_THREADING -DWITH_STATIC_LIBRARIES=ON -DWITH_CLIENTS=OFF -DWITH_BROKER=ON \
    -DWITH_APPS=OFF -DWITH_PLUGINS=OFF -DDOCUMENTATION=OFF -DWITH_LIB_CPP=OFF -DWITH_CJSON=OFF
}
