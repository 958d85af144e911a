# A folder of its own for each test, with the samples.
in_samples <- function(code) {
  folder <- tempfile("samples")
  dir.create(folder)
  before <- setwd(folder)
  on.exit({
    setwd(before)
    unlink(folder, recursive = TRUE)
  })
  file.copy(nv_sample(), ".")
  force(code)
}

read_quietly <- function(...) suppressMessages(nv_read(...))

condition_of <- function(code) tryCatch(suppressMessages(code), condition = identity)

# The samples that are read by themselves; those that are HDF5 take a plug-in, which may not be there.
samples <- function() {
  paths <- nv_sample()
  paths <- paths[!endsWith(paths, ".cn")]
  is_hdf5 <- function(path) grepl("HDF5", nv_detect(path)$looks_like, fixed = TRUE)
  Filter(function(path) !is.na(nv_detect(path)$format) || !is_hdf5(path), paths)
}
