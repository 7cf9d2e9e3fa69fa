# What an ordinary user does with the packages of the command, the documentation and Python.
test "$(id -u)" -ne 0
tavrin --version
tavrin list
tavrin list writers | grep '/tavrin/libtavrin_exporters.so'
tavrin record -d 1s -w every -o run --capture run.jsonl
grep 'CPU Time Summary' run.csv
tavrin report -w sum,bin -o again recorded.jsonl
test -s again.csv
tavrin inspect again.ztbin run.ztbin
tavrin record -o measured -- sleep 0.2
test -s measured.csv
if tavrin record -f sched-trace -d 1s -o traced; then exit 1; fi  # that takes root
python3 -c 'import tavrin; print(sum(1 for point in tavrin.open("again.ztbin")), "points")'
for page in tavrin tavrin-record tavrin-report; do test -s /usr/share/man/man1/$page.1.gz; done
test -s /usr/share/doc/tavrin/formats/timeline.md
zcat /usr/share/doc/tavrin/changelog.Debian.gz | grep '^tavrin ('
grep 'not yet licensed' /usr/share/doc/tavrin/copyright
tavrin record --config /etc/tavrin/record.toml --check -o minutes/run  # only the service may write elsewhere
grep 'ExecStart=/usr/bin/tavrin record --config /etc/tavrin/record.toml' /lib/systemd/system/tavrin.service
