# Reads the results of talvern-batch: Rscript read_tables.R BATCH_FOLDER
folder <- commandArgs(trailingOnly = TRUE)[1]
recordings <- read.csv(file.path(folder, "summary.csv"))
cycles <- read.csv(file.path(folder, "cycles.csv"))

# An empty field is NA. The mean of every person's recordings:
means <- aggregate(mean_log_power ~ person, recordings, mean)
for (i in seq_len(nrow(means))) {
  cat(sprintf("%s: mean log power %.3f\n", means$person[i], means$mean_log_power[i]))
}

# How the coupling goes over the breathing cycles of a session, over all people:
course <- aggregate(log_power ~ cycle, cycles, mean)
cat(sprintf("%d recordings, %d cycles, the first %.3f on average\n",
            nrow(recordings), nrow(cycles), course$log_power[1]))
