import os,sys,time,statistics
def whole(c,env):
    t=time.perf_counter(); p=os.posix_spawn(c,[c],env,file_actions=[(os.POSIX_SPAWN_OPEN,1,'/dev/null',1,0)]); os.waitpid(p,0); return time.perf_counter()-t
progs=sys.argv[2:]; n=int(sys.argv[1])
env={'REQUEST_METHOD':'HEAD','REQUEST_URI':'/t?id=1&format=wav','QUERY_STRING':'id=1&format=wav'}
r={p:[] for p in progs}
if os.environ.get('AS'): os.setegid(33); os.seteuid(33)
for i in range(n):
    for p in progs: r[p].append(1000*whole(p,env))
b=statistics.median(r[progs[0]])
for p in progs:
    s=sorted(r[p]); print(f'{p:60} med {statistics.median(s):.3f} p10 {s[n//10]:.3f} min {s[0]:.3f} ratio {statistics.median(s)/b:.2f}  p10ratio {s[n//10]/sorted(r[progs[0]])[n//10]:.2f}')
