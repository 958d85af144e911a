command <- function() {
  build <- Sys.getenv("NVIMPORT_BUILD")
  path <- if (nzchar(build)) file.path(build, "bin", "nvimport") else Sys.which("nvimport")
  skip_if_not(file.exists(path), "there is no command")
  path
}

# A number as the command writes it has the digits of its own width.
same_cells <- function(texts, values) {
  numbers <- suppressWarnings(as.numeric(values))
  off <- suppressWarnings(abs(as.numeric(texts) - numbers))
  # R reads the lines of a text as they end here.
  ifelse(is.na(values), trimws(texts) == "",
         gsub("\r\n", "\n", values) == texts | (!is.na(off) & off <= abs(numbers) * 2^-24))
}

test_that("every sample has the cells that the command prints", {
  nvimport <- command()
  for (path in samples()) {
    out <- tempfile(fileext = ".csv")
    printed <- system2(nvimport, c("convert", "--quiet", shQuote(path), "-o", shQuote(out)),
                       stdout = TRUE, stderr = TRUE)
    expect_true(file.exists(out), info = paste(c(path, printed), collapse = "\n"))
    wanted <- utils::read.csv(out, header = FALSE, colClasses = "character", encoding = "UTF-8",
                              na.strings = character(), blank.lines.skip = FALSE)
    got <- read_quietly(path, header = FALSE, types = "text")
    expect_identical(dim(got), dim(wanted), info = path)
    for (column in seq_along(got))
      expect_true(all(same_cells(wanted[[column]], got[[column]])), info = paste(path, column))
    again <- nv_read(path, options = nv_details(got)$options, header = FALSE, types = "text")
    expect_identical(all.equal(again, got, check.attributes = FALSE), TRUE, info = path)
  }
})

test_that("files are told without being read", {
  for (path in samples()) {
    info <- nv_info(path)
    expect_identical(nv_detect(path)$format, info$format, info = path)
    expect_identical(c(info$rows, info$columns),
                     dim(read_quietly(path, header = FALSE)), info = path)
  }
  oils <- nv_info(nv_sample("oils.jdx"))
  expect_identical(oils$description[["title"]], "Two oils")
  expect_length(oils$sheets, 3)
  formats <- nv_formats()
  expect_true(all(c("Text File", "Matlab File") %in% formats$name[formats$writes]))
})
