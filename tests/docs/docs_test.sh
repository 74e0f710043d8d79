#!/usr/bin/env bash
# docs_test.sh CHECK: what the pages of the project name is there.
set -euo pipefail
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/../.."

pages=(README.md CONTRIBUTING.md CHANGELOG.md docs/*.md examples/*.md)

# Of a heading, as the web sites that show these pages make it.
anchors_of() { # PAGE
  sed -n 's/^#\{1,6\} //p' "$1" | tr '[:upper:]' '[:lower:]' | sed 's/[^a-z0-9 _-]//g; s/ /-/g'
}

links() {
  local page link file anchor wrong=0
  for page in "${pages[@]}"; do
    while read -r link; do
      file=${link%%#*} anchor=
      [[ $link != *"#"* ]] || anchor=${link#*#}
      [ -n "$file" ] && file=$(dirname "$page")/$file || file=$page
      if [ ! -e "$file" ] || { [ -n "$anchor" ] && ! grep -qxF -- "$anchor" <(anchors_of "$file"); }; then
        echo "$page: $link leads nowhere"
        wrong=1
      fi
    done < <(grep -oE '\]\([^)]+\)' "$page" | sed 's/^](//; s/)$//' | grep -vE '^(https?|mailto):' || true)
  done
  return "$wrong"
}

# Each drawing is of the text that stands beside it: Graphviz's versions draw differently, so the mark is compared.
drawings() {
  local text mark wrong=0
  for text in docs/*.dot; do
    mark=$(sha256sum <"$text")
    grep -qF "of ${mark%% *}" "${text%.dot}.svg" || { echo "$text: ./dev drawings has not been run" && wrong=1; }
  done
  return "$wrong"
}

# The tests that hold a limit, and the files that name it.
limits() {
  local name wrong=0 found=0
  while read -r name; do
    found=$((found + 1))
    grep -rqE "TEST[_A-Z]*\([A-Za-z]+, $name\)" tests || { echo "docs/limits.md: no test is called $name" && wrong=1; }
  done < <(grep -oE '`[A-Z][A-Za-z0-9]{12,}`' docs/limits.md | tr -d '`')
  [ "$found" -gt 10 ] || { echo "docs/limits.md names no tests" && wrong=1; }
  return "$wrong"
}

"$1"
