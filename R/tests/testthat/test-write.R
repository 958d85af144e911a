test_that("what is written reads back the same", {
  data <- data.frame(name = c("a", "\u00e9, b", NA), count = c(1L, NA, 3L), share = c(0.1, 1e300, NA),
                     day = as.Date(c("2024-05-06", NA, "1999-12-31")),
                     time = as.POSIXct(c(1.25, NA, 1e9), origin = "1970-01-01", tz = "UTC"),
                     kind = factor(c("x", "y", "x")), yes = c(TRUE, FALSE, NA))
  for (extension in c(".csv", ".tsv", ".xlsx", ".json")) {
    path <- tempfile(fileext = extension)
    expect_identical(nv_write(data, path), path)
    if (extension == ".json") next
    got <- read_quietly(path)
    expect_identical(names(got), names(data), info = extension)
    expect_identical(got$name, data$name, info = extension)
    expect_equal(as.numeric(got$count), as.numeric(data$count), info = extension)
    expect_identical(got$share, data$share, info = extension)
    expect_identical(as.Date(got$day), data$day, info = extension)
    expect_equal(as.numeric(got$time), as.numeric(data$time), info = extension)
    expect_identical(got$kind, c("x", "y", "x"), info = extension)
    expect_equal(as.numeric(got$yes), c(1, 0, NA), info = extension)
  }
})

test_that("a file is replaced on request alone", {
  path <- tempfile(fileext = ".csv")
  nv_write(data.frame(a = 1), path)
  refused <- condition_of(nv_write(data.frame(a = 2), path))
  expect_match(conditionMessage(refused), "overwrite=TRUE", fixed = TRUE)
  expect_equal(read_quietly(path)$a, 1)
  nv_write(data.frame(a = 2), path, overwrite = TRUE)
  expect_equal(read_quietly(path)$a, 2)
  expect_s3_class(condition_of(nv_write(1:3, path)), "nvimport_argument_error")
  expect_s3_class(condition_of(nv_write(data.frame(a = 1), "x.nothing")), "nvimport_argument_error")
})
