#!/bin/sh
# Makes the seed project files of this directory with the sqlite3 shell:
# current_schema.sql is the schema the store creates today, first_schema.sql
# the first form of it, without the columns that loading adds (the job
# tables' InputFilePath2, JobClass and ClientNotification, and FinishedJobs'
# StdOutAndStdErr). The Gaussian type runs /bin/true, a program every
# machine has, so that an opened project takes new jobs. Pages of 512 bytes, the smallest, keep each file small.
#   sh tests/data/projects/make_projects.sh
set -e
cd "$(dirname "$0")"
T="'2024-03-01T10:00:00'"

rows() { # the general data, queues, job types and jobs of a working project
    cat <<SQL
INSERT INTO GeneralData VALUES (1,'Version','$1',$T,$T);
INSERT INTO GeneralData VALUES (2,'LastJobID','$2',$T,$T);
INSERT INTO Queues VALUES (1,'Long',$T,$T,1);
INSERT INTO Queues VALUES (2,'Short',$T,$T,2);
INSERT INTO JobTypes VALUES (1,'Gaussian','true','/bin/true',NULL,1,'Gaussian Input Files (*.gjf)','Gaussian Log Files (*.log)','GAUSS_EXEDIR=/opt/g16','@EXEFILE @INFILE @OUTFILE',$T,$T);
INSERT INTO JobTypes VALUES (2,'Formchk','formchk','/opt/g16/formchk',NULL,2,'Gaussian Checkpoint Files (*.chk)','Gaussian Formatted Checkpoint Files (*.fchk *.fch)','GAUSS_MEMDEF=@MEMORY','@EXEFILE -3 @INFILE @OUTFILE',$T,$T);
SQL
}

make() { # file, schema, version, last job id, extra statements
    rm -f "$1"
    { echo "PRAGMA page_size=512;"; cat "$2"; rows "$3" "$4"; echo "$5"; } | sqlite3 "$1"
}

CUR=current_schema.sql
OLD=first_schema.sql
LONG="INSERT INTO LongJobsQueue (LongJobID,Name,JobTypeID,ApplicationName,ExecutablePath,InputFilePath,CommandLine,Status,Submitted,Created,LastModified,JobID,ClientName,ClientAppName,ClientAddress,ClientPort,ClientUID,ClientGID) VALUES (1,'water.gjf',1,'g16','/opt/g16/g16','/home/user/water.gjf','@EXEFILE @INFILE @OUTFILE','Pending',$T,$T,$T,3,'TavrolConsole','TavrolConsole','127.0.0.1',0,1000,1000);"
SHORT="INSERT INTO ShortJobsQueue (ShortJobID,Name,JobTypeID,ApplicationName,ExecutablePath,InputFilePath,CommandLine,Status,Submitted,Created,LastModified,JobID,ClientName,ClientAppName,ClientAddress,ClientPort,ClientUID,ClientGID) VALUES (1,'water.chk',2,'formchk','/opt/g16/formchk','/home/user/water.chk','@EXEFILE -3 @INFILE @OUTFILE','Pending',$T,$T,$T,4,'Visualizer','VisualizerApp','127.0.0.1',40001,1000,1000);"
FINISHED="INSERT INTO FinishedJobs (FinishedJobID,Name,JobTypeID,QueueID,ApplicationName,ExecutablePath,InputFilePath,CommandLine,Status,Submitted,Started,Finished,Created,LastModified,JobID,ClientName,ClientAppName,ClientAddress,ClientPort,ClientUID,ClientGID) VALUES (1,'ethane.gjf',1,1,'g16','/opt/g16/g16','/home/user/ethane.gjf','@EXEFILE @INFILE @OUTFILE','Completed',$T,$T,$T,$T,$T,1,'TavrolConsole','TavrolConsole','127.0.0.1',0,1000,1000);"
QUEUELESS="INSERT INTO QueuelessJobs (QueuelessJobID,Name,JobTypeID,ApplicationName,ExecutablePath,InputFilePath,CommandLine,Status,Created,LastModified,JobID) VALUES (1,'benzene.gjf',1,'g16','/opt/g16/g16','/home/user/benzene.gjf','@EXEFILE @INFILE @OUTFILE','Pending',$T,$T,2);"

make current.tvrl $CUR 2 4 "$LONG $SHORT $FINISHED $QUEUELESS"
make current_empty.tvrl $CUR 2 0 ""
make first_schema.tvrl $OLD 2 4 "$LONG $SHORT $FINISHED $QUEUELESS"
make first_schema_no_jobs.tvrl $OLD 2 0 ""
make version_1.tvrl $OLD 1 4 "$LONG"
make version_3.tvrl $CUR 3 4 ""
make version_word.tvrl $CUR two 4 ""
make last_job_id_too_large.tvrl $CUR 2 2147483647 ""
make last_job_id_word.tvrl $CUR 2 none "$LONG"
rm -f only_general_data.tvrl no_version.tvrl
printf "PRAGMA page_size=512;\nCREATE TABLE GeneralData %s\nINSERT INTO GeneralData VALUES (1,'Version','2',$T,$T);\n" \
    "$(sed -n 's/^CREATE TABLE GeneralData //p' $CUR)" | sqlite3 only_general_data.tvrl
{ echo "PRAGMA page_size=512;"; cat $CUR; } | sqlite3 no_version.tvrl
printf 'This is not a Tavrol project.\n' > not_a_database.tvrl
: > empty.tvrl
