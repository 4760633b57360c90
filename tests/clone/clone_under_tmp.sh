#!/usr/bin/env bash
# Copies the files of the checkout SRC (tracked, or new and not ignored) into a fresh directory under
# /tmp, builds the simulator, the console tool and one sandboxed test there,
# runs both in the sandbox, and checks that clearing the sandbox's "/tmp" and
# "/var" left the checkout and its build tree whole. The directory is removed.
set -euo pipefail
src=$1 cmake=$2
git -C "$src" rev-parse --is-inside-work-tree >/dev/null 2>&1 || { echo "not a git checkout: skipped"; exit 77; }
scratch=$(mktemp -d /tmp/quorix-clone.XXXXXX)
trap 'rm -rf "$scratch"' EXIT
clone=$scratch/src build=$scratch/src/build/host
mkdir "$clone"
git -C "$src" ls-files -z --cached --others --exclude-standard | (cd "$src" && tar --null --ignore-failed-read -T - -cf - 2>/dev/null) | tar -C "$clone" -xf -

"$cmake" -S "$clone" -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUORIX_WERROR=ON >/dev/null
"$cmake" --build "$build" -j2 --target quorix_common_feature quorixctl password_rule_bios_test >/dev/null

# A test fixture that empties "/conf", "/var" and "/tmp" before every case.
ctest --test-dir "$build" -R '^password_rule_bios_test$' --output-on-failure
out=$(QUORIX_BUILD=$build "$clone/scripts/quorixctl" bind)
echo "$out"
grep -qx "quorix_interface_init: 0" <<<"$out" || { echo "quorixctl bind did not bind" >&2; exit 1; }
for f in "$clone/CMakeLists.txt" "$build/CMakeCache.txt" "$build/tools/quorixctl"; do
  [ -e "$f" ] || { echo "the sandbox removed $f" >&2; exit 1; }
done
echo "clone under $scratch: ok"
