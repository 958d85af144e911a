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
  left_out <- c("clover.cn", if (!any(grepl("hdf5", nv_formats()$library))) c("cellars.nc4", "stills.mat"))
  Filter(function(path) !(basename(path) %in% left_out), nv_sample())
}
