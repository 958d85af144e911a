# What can go wrong, as conditions.

explained <- function(text, path, detail, advice) {
  said <- if (length(path) == 1 && nzchar(path)) paste0(path, ": ", text) else text
  further <- c(if (nzchar(detail) && !grepl(detail, advice, fixed = TRUE)) detail,
               if (nzchar(advice)) advice)
  if (length(further) > 0) paste0(said, " (", paste(further, collapse = "; "), ")") else said
}

new_condition <- function(kind, text, path = NULL, status = 0L, detail = "", advice = "",
                          format = NULL, ...) {
  classes <- c(if (kind != "nvimport_error") kind, "nvimport_error",
               # What goes on after an error does not go on after an interrupt.
               if (kind == "nvimport_cancelled") "interrupt" else "error", "condition")
  structure(class = classes, list(
    message = explained(text, path, detail, advice), call = NULL, text = text, status = status,
    detail = detail, advice = advice, path = path, format = format, ...))
}

refuse_argument <- function(text) stop(new_condition("nvimport_argument_error", text))

choice_needed <- function(text, argument, candidates, advice = "", ...) {
  if (!grepl(paste0(argument, "="), advice, fixed = TRUE))
    advice <- paste0(argument, "= chooses among: ", paste(candidates, collapse = "; "))
  new_condition("nvimport_choice_needed", text, argument = argument, candidates = candidates,
                advice = advice, ...)
}

# The condition that a refusal of the library is.
as_condition <- function(refusal, path) {
  where <- list(text = refusal$text, path = path, status = refusal$status, detail = refusal$detail,
                advice = refusal$advice, format = if (nzchar(refusal$format)) refusal$format)
  if (refusal$kind == "choice")
    return(do.call(choice_needed, c(where, list(argument = refusal$argument,
                                                candidates = refusal$candidates))))
  kinds <- c(error = "nvimport_error", argument = "nvimport_argument_error",
             cancelled = "nvimport_cancelled")
  do.call(new_condition, c(list(kinds[[refusal$kind]]), where))
}

check <- function(refusal, path) if (!is.null(refusal)) stop(as_condition(refusal, path))

# What was answered unasked is a message, what a format warns of a warning.
tell <- function(notes, warnings, path) {
  for (note in notes) {
    text <- paste0(path, ": ", note, "\n")
    message(structure(class = c("nvimport_note", "message", "condition"),
                      list(message = text, call = NULL)))
  }
  for (one in warnings) {
    warning(structure(class = c("nvimport_warning", "warning", "condition"),
                      list(message = paste0(path, ": ", one), call = NULL)))
  }
}
