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
cp "$here"/../vignettes/*.Rmd "$work"
cd "$work"
for vignette in *.Rmd; do
  "$R" -s --vanilla -e 'if (requireNamespace("knitr", quietly = TRUE)) knitr::knit(commandArgs(TRUE), quiet = TRUE)' \
    --args "$vignette"
done
