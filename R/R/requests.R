# Arguments as the library takes them.

plain_paths <- function(path) {
  if (!is.character(path) || length(path) == 0 || anyNA(path))
    refuse_argument("A path is a text, several are a vector of such.")
  enc2native(path.expand(path))
}

is_database <- function(path) startsWith(path, "odbc:")

# Paths as they are told: what connects to a database may be secret.
shown <- function(paths) {
  paths[is_database(paths)] <- .Call(nvimport_shown, paths[is_database(paths)])
  paths
}

is_whole <- function(value) is.numeric(value) && all(is.finite(value)) && all(value == round(value))

as_count <- function(argument, value, least) {
  if (length(value) != 1 || !is_whole(value) || value < least)
    refuse_argument(paste0(argument, "= is a whole number from ", least, "."))
  as.integer(min(value, .Machine$integer.max))
}

as_flag <- function(argument, value) {
  if (!is.logical(value) || length(value) != 1 || is.na(value))
    refuse_argument(paste0(argument, "= is TRUE or FALSE."))
  value
}

as_items <- function(items) {
  if (is.null(items)) NULL else paste(enc2utf8(as.character(items)), collapse = ",")
}

# A list of numbers and names, what is in quotes being a name whatever it looks like. Numbers that are
# not whole are x values.
as_columns <- function(columns) {
  if (is.null(columns)) return(NULL)
  if (length(columns) == 0) refuse_argument("columns= names no column.")
  if (is.character(columns) && length(columns) == 1) return(enc2utf8(columns))
  item <- function(column) {
    if (is.numeric(column) && is_whole(column)) return(format(column, scientific = FALSE))
    name <- if (is.numeric(column)) format(column, digits = 15) else enc2utf8(column)
    paste0('"', gsub('"', '""', name, fixed = TRUE), '"')
  }
  paste(vapply(columns, item, ""), collapse = ",")
}

as_pairs <- function(options) {
  if (length(options) == 0) return("")
  if (is.null(names(options))) return(paste(options, collapse = ";"))
  value <- function(one) paste(if (is.logical(one)) as.integer(one) else one, collapse = ",")
  enc2utf8(paste(names(options), vapply(options, value, ""), sep = "=", collapse = ";"))
}

as_range <- function(range) {
  if (is.null(range) || (is.character(range) && length(range) == 1)) return(range)
  if (length(range) != 2 || !is_whole(range))
    refuse_argument("range= is the first point and the last one.")
  paste(format(range, scientific = FALSE, trim = TRUE), collapse = ",")
}

# What the question marks of a query stand for, texts behind an apostrophe.
as_parameters <- function(params) {
  one <- function(value) {
    if (length(value) != 1) refuse_argument("params= has one value for each question mark.")
    if (is.na(value)) return("NULL")
    if (is.logical(value)) value <- as.integer(value)
    if (is.numeric(value)) return(format(value, digits = 17, scientific = NA))
    paste0("'", enc2utf8(as.character(value)))
  }
  if (length(params) > 0) vapply(as.list(params), one, "", USE.NAMES = FALSE)
}

# What the calls of the library take.
make_request <- function(paths, format = NULL, sheet = NULL, blocks = NULL, files = NULL,
                         range = NULL, columns = NULL, nrows = NULL, skiprows = 0,
                         delimiter = NULL, ignore_consecutive = FALSE, options = NULL,
                         merge = NULL, password = NULL, kept_rules = NULL, allow_query = FALSE,
                         query = NULL, params = NULL) {
  if (!is.null(files)) {
    if (is.raw(options)) refuse_argument("Stored options say which files are taken; files= can't.")
    options <- paste(c(if (length(options) > 0) as_pairs(options), paste0("files=", as_items(files))),
                     collapse = ";")
  }
  list(paths = paths, name = shown(paths)[1], format = if (is.null(format)) "" else as.character(format),
       sheet = as_items(sheet), blocks = as_items(blocks), range = as_range(range),
       columns = as_columns(columns),
       nrows = if (is.null(nrows)) 0L else as_count("nrows", nrows, 1),
       skiprows = as_count("skiprows", skiprows, 0), delimiter = delimiter,
       ignore_consecutive = as_flag("ignore_consecutive", ignore_consecutive),
       options = if (is.raw(options)) options, pairs = if (is.raw(options)) "" else as_pairs(options),
       merge = if (is.null(merge)) "" else merge,
       password = if (!is.null(password)) enc2utf8(password),
       allow_query = as_flag("allow_query", allow_query),
       query = if (!is.null(query)) enc2utf8(query), parameters = as_parameters(params),
       kept_rules = if (!is.null(kept_rules)) as_flag("kept_rules", kept_rules))
}

make_typing <- function(encoding = NULL, decimal = ".", na = character(), types = "guess",
                        header = NULL) {
  if (!identical(decimal, ".") && !identical(decimal, ","))
    refuse_argument('The decimal mark is "." or ",".')
  if (!is.null(encoding) && !.Call(nvimport_has_encoding, encoding))
    refuse_argument(paste0('There is no encoding "', encoding, '".'))
  if (!identical(types, "guess") && !identical(types, "text"))
    refuse_argument('types= is "guess" or "text".')
  list(encoding = encoding, decimal = decimal, na = enc2utf8(as.character(na)),
       keeps_texts = types == "text", header = if (!is.null(header)) as_flag("header", header))
}

# Files and folders as the files that they stand for.
expand <- function(path, recursive, pattern, kept_rules) {
  if (any(is_database(plain_paths(path)))) return(path)
  given <- list(paths = plain_paths(path), include = pattern, kept_rules = kept_rules)
  found <- .Call(nvimport_expand, given, as_flag("recursive", recursive))
  if (is.list(found)) check(found, path[1])
  if (length(found) == 0)
    stop(new_condition("nvimport_error", "There are no files that can be read.", path = path[1]))
  found
}

# Names of which no two are the same: "Weight", "Weight (2)".
told_apart <- function(names) {
  if (!anyDuplicated(names)) return(names)
  taken <- names
  for (i in which(duplicated(names))) {
    number <- 2
    while (paste0(names[i], " (", number, ")") %in% taken) number <- number + 1
    names[i] <- paste0(names[i], " (", number, ")")
    taken <- c(taken, names[i])
  }
  names
}

make_frame <- function(columns, names, rows) {
  without <- is.na(names) | !nzchar(names)
  names[without] <- paste("column", which(without))
  names(columns) <- told_apart(names)
  if (requireNamespace("tibble", quietly = TRUE)) return(tibble::new_tibble(columns, nrow = rows))
  structure(columns, class = "data.frame", row.names = .set_row_names(rows))
}

# Statements by key, or else by the file's own label.
keyed <- function(statements) {
  key <- ifelse(nzchar(statements$key), statements$key, statements$label)
  first <- !duplicated(key)
  stats <- statements$value[first]
  names(stats) <- key[first]
  stats
}

# Runs `work` on parts of the paths, in as many processes.
in_parts <- function(paths, workers, work) {
  workers <- min(as_count("workers", workers, 1), length(paths))
  if (workers == 1) return(list(work(paths)))
  part <- sort(rep_len(seq_len(workers), length(paths)))
  parts <- unname(split(paths, part))
  caught <- function(one) tryCatch(list(made = work(one)), error = function(e) list(error = e))
  if (.Platform$OS.type == "windows") {
    cluster <- parallel::makePSOCKcluster(workers)
    on.exit(parallel::stopCluster(cluster))
    done <- parallel::parLapply(cluster, parts, caught)
  } else {
    done <- parallel::mclapply(parts, caught, mc.cores = workers, mc.preschedule = FALSE)
  }
  for (i in seq_along(done)) {
    one <- done[[i]]
    if (!is.list(one)) # the process ended
      stop(new_condition("nvimport_error", "A process ended before its files were read.",
                         path = parts[[i]][1]))
    if (!is.null(one$error)) stop(one$error)
  }
  lapply(done, `[[`, "made")
}
