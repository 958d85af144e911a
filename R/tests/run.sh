#!/bin/sh
# run.sh R FOLDER: the tests of the package that is installed in FOLDER/library, its vignettes, and a few
# calls with R's collector of garbage at work wherever it may be.
set -eu
R=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
here=$(cd "$(dirname "$0")" && pwd)

"$R" -s --vanilla -e 'library(testthat); library(nvimport); test_dir(commandArgs(TRUE), reporter = "check")' \
  --args "$here/testthat"
"$R" -s --vanilla -f "$here/torture.R"
# What the page shows.
awk '/^```r$/ { in_code = 1; next } /^```$/ { in_code = 0 } in_code' "$here/../../docs/r.md" >"$work/page.R"
(cd "$work" && "$R" -s --vanilla -f page.R >page.log 2>&1) || {
  cat "$work/page.log"
  exit 1
}
cp "$here"/../vignettes/*.Rmd "$work"
cd "$work"
for vignette in *.Rmd; do
  "$R" -s --vanilla -e 'if (requireNamespace("knitr", quietly = TRUE)) knitr::knit(commandArgs(TRUE), quiet = TRUE)' \
    --args "$vignette"
done
