# A small set with the collector of garbage at every few allocations: a value that nothing protects would
# be gone, and every check of its type fail.
library(nvimport)
wanted <- function() suppressMessages(list(
  nv_read(nv_sample("batches.txt")), nv_read(nv_sample("ovens.xls"), sheet = "Settings"),
  nv_spectra(nv_sample(c("clover.da", "oil-dif.dx", "wheat.txt"))), nv_formats(),
  nv_detect(nv_sample("tanks.wk1")),
  tryCatch(nv_read(nv_sample("clover.cn")), error = conditionMessage),
  nv_write(nv_read(nv_sample("worts.mat")), file.path(tempdir(), "worts.csv"), overwrite = TRUE)))
before <- wanted()
step <- as.integer(Sys.getenv("NVIMPORT_GCTORTURE", "50")) # 0 for none, as under valgrind
gctorture2(step, inhibit_release = FALSE)
again <- wanted()
gctorture2(0)
stopifnot(identical(before, again))
