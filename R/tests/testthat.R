library(testthat)
library(nvimport)

test_check("nvimport")
