test_that("a sheet becomes a data frame whose columns have types", {
  path <- tempfile(fileext = ".csv")
  writeLines(c("code,count,large,share,day,time,words,nothing,mixed",
               "007,3,3000000000,1.5,2024-05-06,2024-05-06 07:08:09.5,\u00e9t\u00e9,,1",
               "008,-4,,2,2024-05-07,,n/a, ,lot",
               "009,,5,1e3,1969-12-31,1969-12-31T23:59:59.5,,,2.50"), path, useBytes = TRUE)
  data <- read_quietly(path, na = "n/a")
  expect_equal(unname(vapply(data, function(column) class(column)[1], "")),
               c("character", "integer", "numeric", "numeric", "POSIXct", "POSIXct", "character",
                 "logical", "character"))
  expect_identical(data$code, c("007", "008", "009"))
  expect_identical(data$count, c(3L, -4L, NA))
  expect_identical(data$large, c(3e9, NA, 5))
  expect_equal(as.numeric(data$time), c(1714979289.5, NA, -0.5))
  expect_identical(format(data$day, tz = "UTC"), c("2024-05-06", "2024-05-07", "1969-12-31"))
  expect_identical(data$words, c("\u00e9t\u00e9", NA, NA))
  expect_identical(Encoding(data$words[1]), "UTF-8")
  expect_identical(data$mixed, c("1", "lot", "2.50"))
  expect_true(all(vapply(read_quietly(path, types = "text"), function(one) !is.numeric(one), NA)))
  expect_identical(read_quietly(path, header = FALSE)[[2]], c("count", "3", "-4", NA))
  expect_identical(dim(read_quietly(path, columns = "count", nrows = 2)), c(1L, 1L))
})

test_that("what a double has no room for stays a text, and late words keep the digits before", {
  path <- tempfile(fileext = ".csv")
  writeLines(c("a,b", "1,9007199254740993", "1.10,2", "x,"), path)
  data <- read_quietly(path)
  expect_identical(data$a, c("1", "1.10", "x"))
  expect_identical(data$b, c("9007199254740993", "2", NA))
  writeLines(c("a;b", "1,5;1", "2,25;2"), path)
  expect_identical(read_quietly(path, decimal = ",", delimiter = "semicolon")$a, c(1.5, 2.25))
})

test_that("a text with a NUL is refused, and names in other encodings are read", {
  path <- tempfile(fileext = ".csv")
  writeBin(c(charToRaw("a,b\n1,x"), as.raw(0), charToRaw("y\n")), path)
  refused <- condition_of(nv_read(path))
  expect_s3_class(refused, "nvimport_error")
  writeBin(c(charToRaw("a,caf"), as.raw(0xe9), charToRaw("\n1,2\n")), path)
  expect_identical(names(read_quietly(path)), c("a", "caf\u00e9"))
  expect_identical(names(read_quietly(path, encoding = "CP437"))[2], "caf\u0398")
  odd <- file.path(tempdir(), "caf\u00e9 ~.csv")
  skip_if_not(file.copy(path, odd, overwrite = TRUE))
  expect_identical(dim(read_quietly(odd)), c(1L, 2L))
})

test_that("questions are arguments, messages, functions or errors", {
  book <- nv_sample("ovens.xls")
  expect_message(nv_read(book), "Taken of 2 worksheets: Runs", class = "nvimport_note")
  expect_message(nv_read(book, sheet = 2), NA)
  expect_identical(dim(nv_read(book, sheet = "Settings")), c(3L, 2L))
  expect_identical(names(nv_read(book, sheet = NULL)), c("Runs", "Settings"))
  expect_identical(names(nv_read(book, sheet = c(2, 1))), c("Settings", "Runs"))
  asked <- nv_read(book, on_question = function(question) length(question$entries))
  expect_identical(dim(asked), c(3L, 2L))

  needed <- condition_of(nv_read(book, on_question = "error"))
  expect_s3_class(needed, "nvimport_choice_needed")
  expect_identical(needed$argument, "sheet")
  expect_length(needed$candidates, 2)
  needed <- condition_of(nv_read(book, sheet = "Nowhere"))
  expect_s3_class(needed, "nvimport_choice_needed")
  unnamed <- file.path(tempdir(), "clover")
  file.copy(nv_sample("clover.da"), unnamed)
  needed <- condition_of(nv_read(unnamed))
  expect_identical(needed$argument, "format")
  expect_true("NSAS File" %in% needed$candidates)
})

test_that("what goes wrong is told in full", {
  refused <- condition_of(nv_read(nv_sample("barley.spc"), format = "NSAS"))
  expect_identical(class(refused), c("nvimport_error", "error", "condition"))
  expect_identical(refused[c("status", "format")], list(status = 1283L, format = "NSAS File"))
  expect_match(conditionMessage(refused), "barley.spc", fixed = TRUE)
  for (wrong in list(list(range = 1), list(nrows = 0), list(decimal = "x"), list(encoding = "x?"),
                     list(format = "no such"), list(on_question = "never"), list(merge = "up"))) {
    got <- condition_of(do.call(nv_read, c(nv_sample("wheat.txt"), wrong)))
    expect_s3_class(got, "nvimport_argument_error")
  }
  expect_match(condition_of(nv_read("no/such.csv"))$detail, "no such file", ignore.case = TRUE)
})

test_that("several files give a list and a report", {
  in_samples({
    writeLines("##TITLE= cut short", "zero.dx")
    expect_s3_class(condition_of(nv_read(c("zero.dx", "trials.csv"))), "nvimport_error")
    got <- read_quietly(c("wheat.txt", "zero.dx", "trials.csv"), on_error = "skip", workers = 2)
    expect_identical(names(got), c("wheat.txt", "trials.csv"))
    report <- attr(got, "report")
    expect_identical(report$ok, c(TRUE, FALSE, TRUE))
    expect_true(report$status[2] > 0 && nzchar(report$text[2]))
    expect_identical(names(read_quietly(".", pattern = "*.txt")),
                     file.path(".", c("batches.txt", "reactor.txt", "sites.txt", "wheat.txt")))
  })
})

test_that("an interrupt ends a read at once", {
  skip_on_os("windows")
  skip_on_cran()
  path <- tempfile(fileext = ".csv")
  writeLines(rep(paste(1:40 / 7, collapse = ","), 50000), path)
  marker <- tempfile()
  system(sprintf("(sleep 0.5; touch %s; kill -INT %d) &", marker, Sys.getpid()))
  ended <- tryCatch(repeat read_quietly(path), interrupt = identity)
  taken <- as.numeric(Sys.time()) - as.numeric(file.mtime(marker))
  expect_s3_class(ended, "interrupt")
  expect_lt(taken, 1) # 0.2 s where nothing else runs
})

test_that("parameters of queries are as they were given", {
  expect_identical(nvimport:::as_parameters(list(5L, 2.5, "7", NA, TRUE, "NULL", 1e300)),
                   c("5", "2.5", "'7", "NULL", "1", "'NULL", "1.0000000000000001e+300"))
  expect_error(nvimport:::as_parameters(list(1:2)), class = "nvimport_argument_error")
  refused <- condition_of(nv_read("odbc:DSN=nosuch;PWD=secret", query = "SELECT 1"))
  expect_s3_class(refused, "nvimport_error")
  expect_false(grepl("secret", conditionMessage(refused)))
})
