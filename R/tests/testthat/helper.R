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
