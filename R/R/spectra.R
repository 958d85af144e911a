#' Read spectra as a matrix
#'
#' The spectra of one or many files as a numeric matrix with a row for each, as `pls`, `prospectr`,
#' `mdatools` or `ChemoSpec` take it.
#'
#' The x values are the file's own, to the last digit, where it is one of spectra, else those that
#' column names hold: numbers, or a letter and a number (`w1100`). Where files have other x values
#' than the first, the matrix has all that occur, and missing values where a spectrum has none;
#' nothing is interpolated. A row without a single number is no spectrum.
#'
#' @param path Files, or folders of files.
#' @param ... Further arguments of [nv_read()] that choose: `sheet`, `blocks`, `files`, `range`,
#'   `columns`, `nrows`, `skiprows`, `delimiter`, `ignore_consecutive`, `format`, `options`, `merge`,
#'   `password`, `kept_rules`, `allow_query`, `query`, `params`.
#' @inheritParams nv_read
#' @param on_error `"stop"` ends with the first file that is refused, `"skip"` leaves it out; the
#'   report tells of all.
#'
#' @return A list:
#' * `spectra`, the matrix; its rows are named.
#' * `x`, the x values of its columns.
#' * `x_unit`, `y_unit`, empty where the files do not say; the first ones where they differ, with a
#'   warning.
#' * `data`, a data frame with a row for each spectrum: its file and name, other columns of its sheet,
#'   and what the file says of it.
#' * `description`, a data frame of what the files say of themselves: `file`, `label` (the file's
#'   own), `key` (the normalised one), `value`.
#' * `report`, a data frame with a row for each file.
#' @examples
#' barley <- nv_spectra(nv_sample("barley.spc"))
#' dim(barley$spectra)
#' rownames(barley$spectra)
#' head(barley$x)
#'
#' oils <- nv_spectra(nv_sample(c("oil-affn.dx", "oil-dif.dx", "oil-sqz.dx")))
#' oils$data
#' @export
nv_spectra <- function(path, ..., encoding = NULL, decimal = ".", na = character(),
                       recursive = FALSE, pattern = NULL, on_error = "stop", workers = 1) {
  choices <- list(...)
  if (length(choices) > 0 && (is.null(names(choices)) || any(!nzchar(names(choices)))))
    refuse_argument("What follows the path has names.")
  typing <- make_typing(encoding, decimal, na)
  if (!(on_error %in% c("stop", "skip"))) refuse_argument('on_error= is "stop" or "skip".')
  paths <- expand(path, recursive, pattern, choices$kept_rules)
  unknown <- setdiff(names(choices), names(formals(make_request)))
  if (length(unknown) > 0) refuse_argument(paste0("There is no argument ", unknown[1], "."))
  parts <- in_parts(paths, workers, function(part) {
    request <- do.call(make_request, c(list(part), choices))
    request$name <- ""
    found <- .Call(nvimport_spectra, request, typing, on_error == "skip")
    spectra_of(found, part, on_error == "skip")
  })
  if (length(parts) == 1) parts[[1]] else joined_spectra(parts)
}

# What one call of the library gave. Conditions of files that were skipped are in the report.
spectra_of <- function(found, paths, skips) {
  paths <- shown(paths)
  for (i in seq_along(found$refusals)) {
    refusal <- found$refusals[[i]]
    if (!is.null(refusal) && (!skips || refusal$kind == "cancelled")) check(refusal, paths[i])
  }
  errors <- lapply(seq_along(paths), function(i) {
    if (!is.null(found$refusals[[i]])) as_condition(found$refusals[[i]], paths[i])
  })
  report <- report_of(paths, errors)
  report$format <- found$formats
  report$spectra <- found$spectra
  report$notes <- found$notes
  report$warnings <- found$warnings
  if (!any(report$ok)) stop(errors[[1]])
  united <- united_spectra(found$axes, length(found$names))
  if (is.null(rownames(united$spectra))) rownames(united$spectra) <- found$names
  data <- c(list(paths[found$files], found$names), found$data)
  said <- found$statements
  list(spectra = united$spectra, x = united$x,
       x_unit = unit_of(found$x_unit[report$ok], "x"), y_unit = unit_of(found$y_unit[report$ok], "y"),
       data = plain_frame(data, c("file", "name", found$data_names), length(found$names)),
       description = data.frame(file = paths[said$place], label = said$label, key = said$key,
                                value = said$value),
       report = report)
}

plain_frame <- function(columns, names, rows) {
  names(columns) <- told_apart(names)
  structure(columns, class = "data.frame", row.names = .set_row_names(rows))
}

unit_of <- function(units, axis) {
  units <- unique(units[nzchar(units)])
  if (length(units) > 1)
    warning("The ", axis, " values have several units: ", paste(units, collapse = ", "),
            call. = FALSE)
  if (length(units) == 0) "" else units[1]
}

# One matrix of several with axes of their own.
united_spectra <- function(axes, rows) {
  if (length(axes) == 1 && length(axes[[1]]$rows) == rows) return(axes[[1]][c("x", "spectra")])
  x <- sort(unique(unlist(lapply(axes, `[[`, "x"))))
  first <- if (length(axes) > 0) axes[[1]]$x
  if (length(first) > 1 && first[1] > first[2]) x <- rev(x)
  spectra <- matrix(NA_real_, rows, length(x))
  for (one in axes) spectra[one$rows, match(one$x, x)] <- one$spectra
  list(x = x, spectra = spectra)
}

# The same of what several processes read.
joined_spectra <- function(parts) {
  counts <- vapply(parts, function(one) nrow(one$spectra), 0L)
  ends <- cumsum(counts)
  axes <- lapply(seq_along(parts), function(i) {
    list(x = parts[[i]]$x, spectra = parts[[i]]$spectra, rows = seq_len(counts[i]) + ends[i] - counts[i])
  })
  same <- all(vapply(axes, function(one) identical(one$x, axes[[1]]$x), NA))
  united <- if (same) {
    list(x = axes[[1]]$x, spectra = do.call(rbind, lapply(axes, `[[`, "spectra")))
  } else {
    united_spectra(axes, sum(counts))
  }
  rownames(united$spectra) <- unlist(lapply(parts, function(one) rownames(one$spectra)))
  below <- function(what) do.call(rbind, lapply(parts, `[[`, what))
  list(spectra = united$spectra, x = united$x,
       x_unit = unit_of(vapply(parts, `[[`, "", "x_unit"), "x"),
       y_unit = unit_of(vapply(parts, `[[`, "", "y_unit"), "y"),
       data = joined_frames(lapply(parts, `[[`, "data")), description = below("description"),
       report = below("report"))
}

# Rows of data frames below one another, missing where one has not the column.
joined_frames <- function(frames) {
  names <- unique(unlist(lapply(frames, names)))
  columns <- lapply(names, function(name) {
    parts <- lapply(frames, function(one) {
      if (name %in% names(one)) one[[name]] else rep(NA, nrow(one))
    })
    # Times and texts in one column are texts.
    times <- vapply(parts, inherits, NA, "POSIXct")
    empty <- vapply(parts, function(one) all(is.na(one)), NA)
    if (any(times) && !all(times | empty)) parts[times] <- lapply(parts[times], format)
    if (any(times) && all(times | empty))
      return(structure(unlist(lapply(parts, as.numeric)), class = c("POSIXct", "POSIXt"),
                       tzone = "UTC"))
    unlist(parts)
  })
  plain_frame(columns, names, sum(vapply(frames, nrow, 0L)))
}

#' Spectra as a hyperSpec object
#'
#' @param spectra What [nv_spectra()] gave.
#' @return An object of class `hyperSpec`; needs that package.
#' @examples
#' if (requireNamespace("hyperSpec", quietly = TRUE)) {
#'   as_hyperSpec(nv_spectra(nv_sample("barley.spc")))
#' }
#' @export
as_hyperSpec <- function(spectra) {
  if (!requireNamespace("hyperSpec", quietly = TRUE))
    stop("The package hyperSpec is not installed.", call. = FALSE)
  labels <- list(.wavelength = spectra$x_unit, spc = spectra$y_unit)
  methods::new("hyperSpec", spc = spectra$spectra, wavelength = spectra$x, data = spectra$data,
               labels = labels)
}
