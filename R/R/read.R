#' Read a file as a data frame
#'
#' The cells of a file as columns of one type each: `double`, `integer`, `character`, `POSIXct` (in
#' UTC), or `logical` where all are missing. A tibble where that package is installed.
#'
#' Texts count as whole numbers, numbers or times (`2024-05-06`, `2024-05-06 07:08:09`) where all of a
#' column do; codes like `007` stay texts, as do whole numbers that no `double` holds. Texts of blanks
#' are missing, and those of `na`. Numbers of cells that are not texts, as workbooks have them, are
#' `double`. A text that holds a NUL character is refused, since R has no such texts.
#'
#' The first row names the columns when it names the x values of spectra, or when it holds words
#' alone and one of the hundred rows that follow has a number.
#'
#' What a format asks is an argument. Questions that are left open get the answer that a user most
#' likely would give, and a message says so. Where no answer is safe, the error has class
#' `nvimport_choice_needed`, `argument` and `candidates`. Every error has class `nvimport_error` with
#' `text` (the library's words), `status` (of the reader that refused, 0 where none did), `detail`,
#' `advice`, `path` and `format`; arguments that make no sense are an `nvimport_argument_error`. An
#' interrupt ends a read as a condition of class `nvimport_cancelled` and `interrupt`.
#'
#' @param path A path, several, or a folder. Several give a list of data frames, named by paths.
#' @param sheet Of a workbook, a worksheet by number or name. `NULL`, or several, gives a list of data
#'   frames by name; with `merge`, or as a text like `"1,3-5"`, several become one.
#' @param blocks,files Of a file of data blocks, or of a set of spectra, in the same way.
#' @param range The first and the last point, from 1; a last one of 0 is the end.
#' @param columns Those wanted, by number or name: `c("Sample", "Moisture")`, `"Sample,3-5"`.
#' @param nrows,skiprows How many rows are read at most, that of names among them, behind those left
#'   out in front.
#' @param header Whether the first row names the columns; by default so where it looks like that.
#' @param types `"guess"` types texts as above, `"text"` keeps them.
#' @param na Texts that count as missing.
#' @param decimal The decimal mark of texts that are to be numbers, `"."` or `","`.
#' @param encoding Of texts; by default those that are valid UTF-8 are, others are Windows-1252.
#' @param delimiter Of a text file: the characters, or `"tab"`, `"comma"`, `"semicolon"`, `"bar"`,
#'   `"blank"`.
#' @param ignore_consecutive Whether a run of delimiters is one.
#' @param format Its name, a beginning of that, or an extension; by default it is detected.
#' @param options A list for the format, as `list(xrow = 1)`, or the options of an earlier import as
#'   [nv_details()] has them.
#' @param merge Of several worksheets, `"side"` by side or one `"below"` the other.
#' @param password Of an encrypted workbook.
#' @param allow_query Whether the query of a database that a file holds is run.
#' @param query,params What a database is asked that is named as `"odbc:DSN=lab"` in place of a path, and
#'   what the question marks of that stand for: `list(5, "wheat", NA)`. Without a query a table of it is
#'   read, and `sheet` says which.
#' @param kept_rules Reads as years ago, without the cells that were left out then.
#' @param on_question `"usual"` as above; `"error"` makes every open question an error; a function of
#'   the question (a list of `argument`, `answer`, `source` and `entries`) returns the value of the
#'   argument, or `NULL` for the usual answer.
#' @param set Whether several paths are one input, for formats whose files can be one sheet.
#' @param recursive Whether folders in folders are gone through.
#' @param pattern The files wanted of a folder, `"*.spc"`.
#' @param on_error Of several files, `"stop"` ends with the first that is refused, `"skip"` leaves it
#'   out; the attribute `report` tells of all.
#' @param workers How many processes read several files.
#'
#' @return A data frame, or a list of such.
#' @seealso [nv_spectra()] for spectra as a matrix, [nv_info()] for what a file is.
#' @examples
#' nv_read(nv_sample("batches.txt"))
#' nv_read(nv_sample("ovens.xls"), sheet = "Settings")
#' str(nv_read(nv_sample("ovens.xls"), sheet = NULL), max.level = 1)
#' nv_read(nv_sample("wheat.txt"), columns = "Sample,3-5", nrows = 3)
#' tryCatch(nv_read(nv_sample("ovens.xls"), on_question = "error"),
#'          nvimport_choice_needed = function(needed) needed$candidates)
#' @export
nv_read <- function(path, sheet = "usual", blocks = NULL, range = NULL, files = NULL,
                    columns = NULL, nrows = NULL, skiprows = 0, header = NULL, types = "guess",
                    na = character(), decimal = ".", encoding = NULL, delimiter = NULL,
                    ignore_consecutive = FALSE, format = NULL, options = NULL, merge = NULL,
                    password = NULL, kept_rules = NULL, on_question = "usual", set = FALSE,
                    allow_query = FALSE, query = NULL, params = NULL, recursive = FALSE, pattern = NULL, on_error = "stop", workers = 1) {
  typing <- make_typing(encoding, decimal, na, types, header)
  if (!is.function(on_question) && !(on_question %in% c("usual", "error")))
    refuse_argument('on_question= is "usual", "error" or a function.')
  if (!(on_error %in% c("stop", "skip"))) refuse_argument('on_error= is "stop" or "skip".')
  is_open <- missing(sheet)
  choices <- list(format = format, sheet = if (!is_open) sheet, blocks = blocks, files = files,
                  range = range, columns = columns, nrows = nrows, skiprows = skiprows,
                  delimiter = delimiter, ignore_consecutive = ignore_consecutive,
                  options = options, merge = merge, password = password, kept_rules = kept_rules,
                  allow_query = allow_query, query = query, params = params)
  read_one <- function(paths) {
    if (is_open || (!is.null(sheet) && (length(sheet) == 1 || !is.null(merge))))
      return(read_sheet(paths, choices, typing, on_question))
    each <- each_sheet(paths, choices, sheet)
    lapply(each, function(one) read_sheet(paths, one, typing, on_question))
  }
  if (as_flag("set", set)) return(read_one(plain_paths(path)))
  paths <- expand(path, recursive, pattern, kept_rules)
  if (length(paths) == 1 && length(path) == 1 && !dir.exists(path)) return(read_one(paths))

  done <- in_parts(paths, workers, function(part) lapply(part, function(one) {
    if (on_error == "stop") return(list(made = read_one(one)))
    tryCatch(list(made = read_one(one)), nvimport_error = function(e) {
      if (inherits(e, "interrupt")) stop(e)
      list(error = e)
    })
  }))
  done <- do.call(c, done)
  errors <- lapply(done, `[[`, "error")
  good <- vapply(errors, is.null, NA)
  made <- lapply(done[good], `[[`, "made")
  names(made) <- shown(paths[good])
  attr(made, "report") <- report_of(paths, errors)
  made
}

# A row for each file.
report_of <- function(paths, errors) {
  said <- function(what) {
    vapply(errors, function(e) if (is.null(e[[what]])) "" else as.character(e[[what]]), "")
  }
  data.frame(path = paths, ok = vapply(errors, is.null, NA),
             status = vapply(errors, function(e) if (is.null(e)) 0L else as.integer(e$status), 0L),
             text = said("text"), detail = said("detail"), advice = said("advice"))
}

read_sheet <- function(paths, choices, typing, on_question) {
  if (!identical(on_question, "usual")) choices <- answered(paths, choices, on_question)
  request <- do.call(make_request, c(list(paths), choices))
  found <- .Call(nvimport_read, request, typing, TRUE)
  check(found$refusal, shown(paths)[1])
  frame <- make_frame(found$cells, found$names, found$height)
  notes <- c(found$notes, unneeded(found, choices))
  tell(notes, found$warnings, shown(paths)[1])
  attr(frame, "nvimport") <- list(
    path = shown(paths), format = found$format, options = found$options, choices = choices_of(found),
    notes = notes, warnings = found$warnings, kept_rules = found$kept_rules, x = found$x,
    x_unit = found$x_axis[2], y_unit = found$y_axis[2], statements = statements_of(found))
  frame
}

statements_of <- function(found) {
  as.data.frame(found$statements[c("place", "label", "key", "value")],
                col.names = c("row", "label", "key", "value"))
}

choices_of <- function(found) {
  lapply(found$choices, `[`, c("argument", "answer", "source", "entries"))
}

# Arguments that answer nothing that was asked.
unneeded <- function(found, choices) {
  answers <- c("sheet", "blocks", "range")
  given <- answers[!vapply(choices[answers], is.null, NA)]
  given <- setdiff(given, vapply(found$choices, `[[`, "", "argument"))
  if (length(given) > 0) paste0(given, "= was not needed, there was no such choice.")
}

measure <- function(paths, choices) {
  request <- do.call(make_request, c(list(paths), choices))
  found <- .Call(nvimport_read, request, make_typing(), FALSE)
  check(found$refusal, shown(paths)[1])
  found
}

# The choices that read each of the sheets that are wanted, by name.
each_sheet <- function(paths, choices, wanted) {
  choices["sheet"] <- list(NULL)
  found <- measure(paths, choices)
  for (one in found$choices) {
    argument <- one$argument
    if (argument == "sheet" || (argument == "blocks" && is.null(choices$blocks))) {
      names <- told_apart(one$names)
      positions <- if (is.null(wanted)) seq_along(names) else vapply(wanted, function(item) {
        at <- if (is.character(item)) match(item, names) else as.integer(item)
        if (!is.na(at) && at >= 1 && at <= length(names)) return(at)
        stop(choice_needed(paste0('"', item, '" is not among the ', one$name, "."), argument,
                           one$entries, path = shown(paths)[1], format = found$format))
      }, 0L)
      each <- lapply(positions, function(position) {
        choices[[argument]] <- position
        choices
      })
      names(each) <- names[positions]
      return(each)
    }
  }
  each <- list(choices)
  names(each) <- tools::file_path_sans_ext(basename(shown(paths)[1]))
  each
}

# The choices with the answers to all questions that they left open.
answered <- function(paths, choices, on_question) {
  asked <- character()
  repeat {
    open <- tryCatch({
      found <- measure(paths, choices)
      Filter(function(one) one$source == "guessed", choices_of(found))
    }, nvimport_choice_needed = function(needed) {
      if (needed$argument %in% asked) stop(needed)
      list(list(argument = needed$argument, answer = "", source = "needed",
                entries = needed$candidates))
    })
    open <- Filter(function(one) !(one$argument %in% asked), open)
    if (length(open) == 0) return(choices)
    one <- open[[1]]
    if (!is.function(on_question))
      stop(choice_needed(paste0("The ", one$argument, " was not given."), one$argument,
                         one$entries, path = shown(paths)[1]))
    asked <- c(asked, one$argument)
    answer <- on_question(one)
    if (is.null(answer)) next
    if (startsWith(one$argument, "options$"))
      choices$options[[substring(one$argument, 9)]] <- answer
    else
      choices[[one$argument]] <- answer
  }
}

#' What an import was told and what it says
#'
#' @param data What [nv_read()] gave.
#' @return A list: `path`, `format`, `options` (bytes that repeat the import, for the argument of that
#'   name), `choices` (what the format asked, and how it was answered), `notes`, `warnings`,
#'   `kept_rules`, the exact `x` values of spectra with `x_unit` and `y_unit`, and `statements` (what
#'   the file says of itself, in row 0, and of single rows).
#' @examples
#' runs <- nv_read(nv_sample("ovens.xls"))
#' again <- nv_read(nv_sample("ovens.xls"), options = nv_details(runs)$options)
#' all.equal(again, runs, check.attributes = FALSE)
#' @export
nv_details <- function(data) {
  details <- attr(data, "nvimport")
  if (is.null(details)) refuse_argument("These data were not read by nv_read(), or were changed.")
  details
}

#' The samples of the package
#'
#' @param name Of a file; all of them without.
#' @return Paths.
#' @examples
#' head(basename(nv_sample()))
#' @export
nv_sample <- function(name = NULL) {
  folder <- system.file("samples", package = "nvimport")
  if (is.null(name)) return(list.files(folder, full.names = TRUE))
  path <- file.path(folder, name)
  if (!all(file.exists(path))) refuse_argument(paste0("There is no sample ", name[1], "."))
  path
}
