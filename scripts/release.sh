#!/usr/bin/env bash
# Makes what a release consists of, in build/release/: the tarball of the last commit, the two files of
# the amalgamation, what it is made of (SPDX), its symbols and types (for the next release to be
# compared with), and the checksums. The same commit gives the same files.
#   scripts/release.sh [PREVIOUS]   PREVIOUS is such a directory of the release before
set -euo pipefail
invoked_from=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."

fail() {
  echo "release: $*" >&2
  exit 1
}

previous=
if [[ $# -gt 0 ]]; then
  previous=$(cd "$invoked_from" && cd "$1" && pwd) || fail "no directory $1"
fi
version=$(sed -n 's/^#define JN_VERSION_\(MAJOR\|MINOR\|PATCH\) //p' JNFoundation/Version.h | paste -sd .)
time=$(git log -1 --format=%ct)
name=jnfoundation-$version
out=$PWD/build/release
export SOURCE_DATE_EPOCH=$time TZ=UTC LC_ALL=C

[[ -z $(git status --porcelain) ]] || fail "the tree has changes that are not committed"
grep -q "^## $version\b" CHANGELOG.md || fail "CHANGELOG.md has no section for $version"
head -n 1 packaging/debian/changelog | grep -qF "($version-" || fail "packaging/debian/changelog is of another version"
grep -qF "\"$version\"" packaging/vcpkg/jnfoundation/vcpkg.json || fail "vcpkg.json is of another version"

rm -rf "$out"
mkdir -p "$out"
# The times in the archive are those of the commit, and gzip writes none.
git archive --format=tar --prefix="$name/" HEAD | gzip -n -9 >"$out/$name.tar.gz"
python3 scripts/amalgamate.py "$out/$name-amalgamation" >/dev/null
cp LICENSE "$out/$name-amalgamation/"
tar -C "$out" --sort=name --mtime="@$time" --owner=0 --group=0 --numeric-owner --format=ustar -cf - \
  "$name-amalgamation" | gzip -n -9 >"$out/$name-amalgamation.tar.gz"
rm -r "$out/$name-amalgamation"

echo "Building the shared libraries"
mkdir -p build/logs
{
  cmake -S . -B build/release-shared -G Ninja -D CMAKE_BUILD_TYPE=Release -D BUILD_SHARED_LIBS=ON \
    -D CMAKE_CXX_FLAGS=-g -D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=40 -D JN_BUILD_TESTS=OFF \
    -D JN_BUILD_EXAMPLES=OFF -D JN_BUILD_TOOLS=OFF
  cmake --build build/release-shared --parallel "${JOBS:-$(nproc)}"
} >build/logs/release.log 2>&1 || fail "the build failed: build/logs/release.log"
mapfile -t libraries < <(find build/release-shared -name 'libJNFoundation*.so' | sort)
digest=$(sha256sum "$out/$name.tar.gz" | cut -d ' ' -f 1)
python3 scripts/sbom.py "$version" "$time" "$digest" "${libraries[@]}" >"$out/$name.spdx.json"

# What a program that was linked with the release before would miss. Before 1.0 that is allowed
# between minor releases, whose libraries have other names; within one it is not.
status=0
for library in "${libraries[@]}"; do
  part=$(basename "$library" .so)
  nm -D --defined-only --format=posix "$library" | cut -d ' ' -f 1 | sort >"$out/$part.symbols"
  if command -v abidw >/dev/null; then
    abidw --no-show-locs --no-corpus-path --headers-dir JNFoundation "$library" | gzip -n >"$out/$part.abi.gz"
  fi
  [[ -n $previous ]] || continue
  [[ -f $previous/$part.symbols ]] || { echo "$part: new"; continue; }
  gone=$(comm -23 "$previous/$part.symbols" "$out/$part.symbols")
  added=$(comm -13 "$previous/$part.symbols" "$out/$part.symbols")
  echo "$part: $(grep -c . <<<"$gone" || true) symbols went, $(grep -c . <<<"$added" || true) came"
  if [[ -n $gone ]]; then
    head -n 20 <<<"$gone" | sed "s/@.*//" | c++filt
    status=1
  fi
  if [[ -f $previous/$part.abi.gz && -f $out/$part.abi.gz ]]; then
    gunzip -c "$previous/$part.abi.gz" >"$out/before.abi"
    gunzip -c "$out/$part.abi.gz" >"$out/after.abi"
    abidiff --no-added-syms "$out/before.abi" "$out/after.abi" >"build/logs/$part.abidiff" || status=1
    rm "$out/before.abi" "$out/after.abi"
    head -n 40 "build/logs/$part.abidiff"
  fi
done

(cd "$out" && sha256sum -- * >SHA256SUMS)
echo "$name is in $out:"
ls -l "$out" | awk 'NR > 1 {print "  " $9 ", " $5 " bytes"}'
if [[ $status -ne 0 ]]; then
  if ! compgen -G "$previous/jnfoundation-${version%.*}.*.tar.gz" >/dev/null; then
    echo "Programs must be linked anew, as between two minor versions"
  else
    fail "programs linked with the release before may not run with this one; the minor version must be another"
  fi
fi
