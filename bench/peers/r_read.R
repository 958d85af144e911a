# r_read.R WHAT [FILE...]: reads files as R programs do; "start-..." only loads what that needs.
arguments <- commandArgs(TRUE)
what <- arguments[1]
paths <- arguments[-1]
package <- sub("^start-", "", what)
suppressMessages(switch(package,
  spectra = , frame = { library(nvimport); loadNamespace("tibble") },
  fread = { library(data.table); setDTthreads(1) },
  read_tsv = library(readr),
  read_excel = library(readxl)))
made <- suppressMessages(switch(what,
  spectra = nv_spectra(paths)$spectra,
  frame = nv_read(paths),
  fread = fread(paths, sep = "\t"),
  read_tsv = read_tsv(paths, show_col_types = FALSE, progress = FALSE, num_threads = 1, lazy = FALSE),
  read_excel = read_excel(paths)))
if (!is.null(made)) print(made[[nrow(made), ncol(made)]])
