% Reads an export of one run: octave read_export.m EXPORT_FOLDER
folder = argv(){1};
name = regexprep(glob(fullfile(folder, "*_ECG.txt")){1}, '.*/(.*)_ECG\.txt$', '$1');
ecg = load(fullfile(folder, [name "_ECG.txt"]));   % microvolts, 130 a second
rate = load(fullfile(folder, [name "_HR.txt"]));   % beats per minute, ten a second
printf("%s: %.1f s of ECG, %d to %d microvolts\n", name, numel(ecg) / 130, min(ecg), max(ecg));
printf("mean heart rate %.2f\n", mean(rate));

% Rows are cycles, the last one is the mean; what is missing is NaN.
file = fopen(fullfile(folder, [name "_TVN_logpower.csv"]));
rows = textscan(file, "%s %f %*[^\n]", "Delimiter", ",", "HeaderLines", 1, "EmptyValue", NaN);
fclose(file);
printf("%d breathing cycles, log power %g on average\n", numel(rows{2}) - 1, rows{2}(end));
