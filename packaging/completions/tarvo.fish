# Completes the arguments of tarvo in fish.
complete -c tarvo -f -a '(__fish_complete_directories (commandline -ct) "Bundle, or folder")'
complete -c tarvo -l headless -d 'Run without a window'
complete -c tarvo -o ResetDefaults -d 'First forget all settings and the saved queue'
complete -c tarvo -l version -d 'Print the version'
complete -c tarvo -s h -l help -d 'Print a summary of the options'
