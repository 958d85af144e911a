#' Tables and spectra from the files of spreadsheets and instruments
#'
#' [nv_read()] gives a data frame, [nv_spectra()] spectra as a matrix, [nv_info()], [nv_detect()] and
#' [nv_formats()] tell what files and formats are, [nv_write()] writes.
#'
#' @keywords internal
#' @useDynLib nvimport, .registration = TRUE
"_PACKAGE"
