#' Write a data frame, a matrix or spectra
#'
#' The extension of the path decides the format (`.csv`, `.tsv`, `.jsonl`, `.json`, `.xlsx`, `.arrow`,
#' `.arrows`, `.txt`, `.dif`, `.mat`), or `format` does. Numbers are written with the digits that read
#' back to the same, times as ISO 8601 has them in UTC. Row names that are more than numbers become
#' the first column.
#'
#' @param data A data frame, a matrix, or what [nv_spectra()] gave.
#' @param path Where to; a file appears when it is whole.
#' @param format The name of a format, or an extension.
#' @param overwrite Whether a file that is there is replaced.
#' @param options A list for formats that take such, as `list(compress = FALSE)`.
#' @return The path, invisibly.
#' @examples
#' path <- tempfile(fileext = ".csv")
#' nv_write(nv_read(nv_sample("wheat.txt")), path)
#' dim(nv_read(path))
#' @export
nv_write <- function(data, path, format = NULL, overwrite = FALSE, options = NULL) {
  if (is.list(data) && !is.data.frame(data) && is.matrix(data$spectra)) {
    spectra <- data$spectra
    colnames(spectra) <- vapply(data$x, shortest, "")
    data <- spectra
  }
  if (is.matrix(data)) {
    labels <- rownames(data)
    names <- colnames(data)
    columns <- lapply(seq_len(ncol(data)), function(i) unname(data[, i]))
  } else if (is.data.frame(data)) {
    labels <- if (.row_names_info(data) > 0) row.names(data)
    names <- names(data)
    columns <- unname(as.list(data))
  } else {
    refuse_argument("A data frame, a matrix or spectra are written.")
  }
  if (!is.null(labels)) {
    if (is.null(names)) names <- rep("", length(columns))
    columns <- c(list(labels), columns)
    names <- c("", names)
  }
  if (length(columns) == 0) refuse_argument("There are no columns to write.")
  names <- if (!is.null(names)) replace(enc2utf8(names), !nzchar(names), NA)
  paths <- plain_paths(path)
  if (length(paths) != 1) refuse_argument("One file is written at a time.")
  request <- list(paths = paths, format = if (is.null(format)) "" else format,
                  overwrite = as_flag("overwrite", overwrite), pairs = as_pairs(options))
  done <- .Call(nvimport_write, request, lapply(columns, plain_values), names)
  check(done$refusal, paths)
  for (note in done$notes) warning(note, call. = FALSE)
  invisible(path)
}

# Numbers and texts, as the library has them.
plain_values <- function(values) {
  if (inherits(values, "POSIXlt")) values <- as.POSIXct(values)
  if (inherits(values, "POSIXct") || inherits(values, "Date")) return(time_texts(values))
  if (is.factor(values)) values <- as.character(values)
  if (is.list(values) || is.complex(values) || !is.null(dim(values)))
    refuse_argument("Columns are vectors of numbers, texts or times.")
  if (is.character(values)) enc2utf8(values) else as.double(values)
}

# Days where all times are midnight, else seconds or what is finer.
time_texts <- function(times) {
  if (inherits(times, "Date")) return(format(times, "%Y-%m-%d"))
  seconds <- as.numeric(times)
  known <- seconds[!is.na(seconds)]
  how <- if (all(known %% 86400 == 0)) "%Y-%m-%d" else if (all(known == floor(known)))
    "%Y-%m-%d %H:%M:%S" else "%Y-%m-%d %H:%M:%OS6"
  # What is written is cut, not rounded.
  format(times + if (endsWith(how, "6")) 5e-7 else 0, how, tz = "UTC")
}

# The shortest text that reads back to the number.
shortest <- function(value) {
  for (digits in 15:17) {
    text <- formatC(value, digits = digits, width = 1, format = "g")
    if (as.numeric(text) == value) return(text)
  }
  text
}
