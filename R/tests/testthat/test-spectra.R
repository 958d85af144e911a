test_that("spectra are a matrix with what is known of each", {
  got <- nv_spectra(nv_sample("clover.da"))
  expect_identical(dim(got$spectra), c(4L, 50L))
  expect_identical(rownames(got$spectra), paste("Clover", 1:4))
  expect_identical(got$x, seq(1100, 2080, 20))
  expect_true(all(c("file", "name", "Protein", "Moisture") %in% names(got$data)))
  expect_type(got$data$Protein, "double")
  sheet <- nv_read(nv_sample("clover.da"))
  first <- match("1100", sub("^[^0-9]*", "", names(sheet)))
  expect_equal(got$spectra[, 1], as.numeric(sheet[[first]][!is.na(as.numeric(sheet[[first]]))]),
               ignore_attr = TRUE)
  text <- nv_spectra(nv_sample("wheat.txt"))
  expect_identical(dim(text$spectra), c(12L, 10L))
  expect_identical(text$spectra[["Wheat 01", 2]], 0.3132)
  expect_type(text$data$Moisture, "double")
})

test_that("spectra of many files are one matrix, by one process or several", {
  in_samples({
    paths <- list.files(pattern = "^oil-.*dx$")
    one <- nv_spectra(paths)
    expect_identical(dim(one$spectra), c(5L, 90L))
    expect_identical(c(one$x_unit, one$y_unit), c("NANOMETERS", "ABSORBANCE"))
    expect_identical(one$spectra[2, ], nv_spectra(paths[2])$spectra[1, ])
    expect_identical(nv_spectra(paths, workers = 2), one)
    expect_identical(nv_spectra(".", pattern = "oil-*.dx")$spectra, one$spectra)

    writeLines("##TITLE= cut short", "zero.dx")
    expect_s3_class(condition_of(nv_spectra(c(paths, "zero.dx"))), "nvimport_error")
    some <- nv_spectra(c("zero.dx", paths), on_error = "skip", workers = 2)
    expect_identical(some$spectra, one$spectra)
    expect_identical(some$report$spectra, c(0L, rep(1L, 5)))

    # Other x values are beside those of the first, not between them.
    both <- nv_spectra(c("barley.spc", "tablets.dat", "oil-dif.dx"))
    expect_identical(nrow(both$spectra), 7L)
    expect_false(is.unsorted(both$x))
    expect_identical(both$spectra[4, !is.na(both$spectra[4, ])],
                     nv_spectra("tablets.dat")$spectra[1, ])
  })
})

test_that("many rows are written where they belong", {
  path <- tempfile(fileext = ".csv")
  spectra <- matrix(seq_len(1000 * 40) / 7, 1000)
  spectra[17, ] <- NA
  rownames(spectra) <- paste("s", 1:1000)
  nv_write(list(spectra = spectra, x = 1:40 / 3), path)
  got <- nv_spectra(path)
  expect_identical(got$spectra, spectra[-17, ])
  expect_identical(got$x, 1:40 / 3)
})

test_that("pls takes the matrix as it is", {
  skip_if_not_installed("pls")
  got <- nv_spectra(nv_sample("wheat.txt"))
  data <- list(Moisture = got$data$Moisture, spectra = got$spectra)
  model <- pls::plsr(Moisture ~ spectra, ncomp = 2, data = data, validation = "LOO")
  # Two samples have missing values.
  expect_identical(dim(predict(model, ncomp = 2)), c(10L, 1L, 1L))
})
