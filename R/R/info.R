#' What a file is, without reading its cells
#'
#' @inheritParams nv_read
#' @param ... Arguments of [nv_read()] that choose; the size is that of the sheet which they choose.
#' @return A list: `path`, `format`, `rows` and `columns` of the sheet, `sheets` (the names of all that
#'   the file has, where it has several), `choices` (a list of questions, and how they would be
#'   answered), `options` (those that the argument of this name takes for the format), `description`
#'   (what the file says of itself, by normalised key or else by its own label), `statements` (all of
#'   them, those about rows included), `x`, `x_unit` and `y_unit`.
#' @examples
#' found <- nv_info(nv_sample("oils.jdx"))
#' found$format
#' found$sheets
#' found$description[["title"]]
#' @export
nv_info <- function(path, ..., encoding = NULL) {
  paths <- plain_paths(path)
  request <- do.call(make_request, c(list(paths), list(...)))
  found <- .Call(nvimport_read, request, make_typing(encoding), FALSE)
  check(found$refusal, shown(paths)[1])
  sheets <- character()
  for (one in found$choices) {
    if (length(sheets) == 0 && one$argument %in% c("sheet", "blocks"))
      sheets <- told_apart(one$names)
  }
  statements <- statements_of(found)
  list(path = shown(path), format = found$format, rows = found$rows, columns = found$columns,
       sheets = sheets, choices = choices_of(found), options = found$pairs,
       description = keyed(statements[statements$row == 0, ]), statements = statements,
       x = found$x, x_unit = found$x_axis[2], y_unit = found$y_axis[2])
}

#' What format a file has
#'
#' @inheritParams nv_read
#' @return A list: `format` (the one that [nv_read()] takes, `NA` where that is open), `candidates` to
#'   choose from otherwise, `reason`, `looks_like` (a kind of file that no format reads, or `NA`), and
#'   `answers` (`"certain"`, `"possible"` or `"no"`, by format).
#' @examples
#' nv_detect(nv_sample("tablets.dat"))$format
#' @export
nv_detect <- function(path, kept_rules = NULL) {
  paths <- plain_paths(path)
  if (length(paths) != 1) refuse_argument("One file is detected at a time.")
  found <- .Call(nvimport_detect, list(paths = paths, kept_rules = kept_rules))
  check(found$refusal, paths)
  or_na <- function(text) if (nzchar(text)) text else NA_character_
  answers <- found$answers
  names(answers) <- found$formats
  list(format = or_na(found$format), candidates = found$candidates, reason = found$reason,
       looks_like = or_na(found$looks_like), answers = answers)
}

#' The formats
#'
#' @return A data frame: `index`, `name`, `extensions` (between blanks), whether the format `reads`,
#'   `writes`, and takes `several` files as one sheet, and the `library` of the plug-in that serves
#'   it (empty for a built-in one).
#' @examples
#' subset(nv_formats(), writes)$name
#' @export
nv_formats <- function() {
  found <- .Call(nvimport_formats)
  for (flag in c("reads", "writes", "several")) found[[flag]] <- found[[flag]] == 1
  as.data.frame(found)
}
